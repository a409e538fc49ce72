// What the screenshot programs share: the look they render in, and how a
// window becomes a PNG file.
#pragma once

#include <QApplication>
#include <QDir>
#include <QFont>
#include <QPixmap>
#include <QTest>
#include <QWidget>
#include <cstdio>

#include "platform/qt/window_style.h"

namespace tvl::shots {

// The program's look with its font at `points`, so that shots look the same
// on every machine; the folder named on the command line (else "screenshots"), made.
inline QDir prepare(int argc, char** argv, double points) {
    useProgramLook();
    QFont font = QApplication::font();
    font.setPointSizeF(points);
    QApplication::setFont(font);
    const QDir folder(argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("screenshots"));
    QDir().mkpath(folder.path());
    return folder;
}

// Lets the window settle, then writes it to folder/name; false, said on
// stderr, when the file cannot be written.
inline bool save(QWidget& window, const QDir& folder, const char* name) {
    QTest::qWait(100);
    const QString file = folder.filePath(QString::fromLatin1(name));
    const QPixmap shot = window.grab();
    if (shot.isNull() || !shot.save(file)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(file));
        return false;
    }
    std::printf("%s %dx%d\n", qPrintable(file), shot.width(), shot.height());
    return true;
}

}  // namespace tvl::shots
