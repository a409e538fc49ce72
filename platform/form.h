// A window of the program: its controls, registered by name, and its handlers,
// registered by name, so that the view, tests and scenarios reach both the
// way the program names them.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/control.h"

namespace tvl {

// The n-th word of a by-name call as a number; 0 when it is not given.
int argument(const std::vector<std::string>& args, std::size_t n);

class Form {
public:
    explicit Form(std::string name);
    virtual ~Form() = default;
    Form(const Form&) = delete;
    Form& operator=(const Form&) = delete;

    const std::string& name() const { return name_; }

    // Makes a control of type T on this form, inside container (nullptr: the
    // form itself), and registers it as name or name(index).
    template <class T>
    T* add(Control* container, std::string name, int index = -1) {
        auto made = std::make_unique<T>(*this, container, std::move(name), index);
        T* control = made.get();
        enlist(std::move(made));
        return control;
    }

    // The control of that name and index (-1: not an array), case-blind; nullptr if none.
    Control* find(std::string_view name, int index = -1) const;
    // Every control in the order it was made: containers before what they hold.
    const std::vector<std::unique_ptr<Control>>& controls() const { return controls_; }

    // Handlers by name ("tmrTarvoline_Timer"), taking the scenario's words as arguments.
    using Args = std::vector<std::string>;
    using Handler = std::function<void(const Args& args)>;
    void handle(const std::string& name, Handler handler);

    // Binds an event to its handler and registers the same handler by name,
    // so that the view, the tests and the scenarios run one and the same code.
    void bind(const std::string& name, std::function<void()>& event, std::function<void()> handler);
    // An event with a number (a mouse button): by name, the first argument.
    void bind(const std::string& name, std::function<void(int)>& event,
              std::function<void(int)> handler);
    // The same event of every control of an array: control i runs handler(i);
    // by name, the first argument is the index.
    template <class C, std::size_t N>
    void bind(const std::string& name, const std::array<C*, N>& controls,
              std::function<void()> C::*event, std::function<void(int)> handler) {
        for (std::size_t i = 0; i < N; ++i)
            controls[i]->*event = [handler, i] { handler(static_cast<int>(i)); };
        handle(name, [handler](const Args& a) { handler(argument(a, 0)); });
    }
    const Handler* handler(std::string_view name) const;
    const std::map<std::string, Handler>& handlers() const { return handlers_; }

    std::optional<PropertyValue> get(std::string_view property) const;
    bool put(std::string_view property, const PropertyValue& value);

    std::string Caption;
    bool Enabled = true;
    bool Visible = false;
    float Left = 0, Top = 0, Width = 0, Height = 0;  // outer size, twips
    float ScaleWidth = 0, ScaleHeight = 0;           // client area, twips
    std::string Picture;                             // background picture file
    Control* focus = nullptr;                        // the control that has the focus
    // Gives a control the keyboard focus; the view moves it there on its next copy.
    void setFocus(Control* control) {
        focus = control;
        ++focusRequests;
    }
    std::uint64_t focusRequests = 0;

    // Window events the platform raises.
    std::function<void()> Resize;
    std::function<void(int button)> MouseUp;
    std::function<void(int& keyAscii)> KeyPress;

private:
    void enlist(std::unique_ptr<Control> control);

    std::string name_;
    std::vector<std::unique_ptr<Control>> controls_;
    std::map<std::string, Control*> byKey_;    // lower-case key
    std::map<std::string, Handler> handlers_;  // lower-case name
};

// Makes a label with its caption, placed in twips.
inline Label* addLabel(Form& form, Control* container, const char* name, int index,
                       const std::string& caption, float left, float top, float width,
                       float height) {
    Label* label = place(form.add<Label>(container, name, index), left, top, width, height);
    label->Caption = caption;
    return label;
}

// Makes a picture button, its picture showing its word, placed in twips.
inline CommandButton* addButton(Form& form, const char* name, const std::string& picture,
                                const std::string& word, const std::string& tip, float left,
                                float top) {
    CommandButton* button = place(form.add<CommandButton>(nullptr, name), left, top, 1215, 405);
    button->Picture = picture;
    button->AccessibleName = word;
    button->ToolTipText = tip;
    return button;
}

}  // namespace tvl
