// What the forms hold at design time beyond the control models: fonts,
// colours, the splash window's border and cursor. The view reads them here by
// the controls' names.
#pragma once

#include <QColor>
#include <QFont>
#include <QPoint>
#include <optional>
#include <string>

namespace tvl {

class Control;
class Form;

struct ControlStyle {
    std::optional<QFont> font;
    std::optional<QColor> foreground;
    std::optional<QColor> background;
    std::optional<std::string> cursorFile;  // a picture in the program's folder
    QPoint cursorHotSpot;
};

struct WindowStyle {
    bool splash = false;  // fixed, no caption, no task-bar entry, centred on the screen
    bool dialog = false;  // owned by the main window, fixed, centred over it when it first shows
    bool sizable = true;
};

// The program's look on every desktop: the Fusion style and DejaVu Sans at
// 8.25 points, the size the forms' twip layout is drawn for.
void useProgramLook();

ControlStyle styleOf(const Control& control);
WindowStyle windowStyleOf(const Form& form);

// The system colours the forms use: 5 window background, 12 application
// workspace, 13 highlight, 15 button face.
QColor systemColour(int index);

}  // namespace tvl
