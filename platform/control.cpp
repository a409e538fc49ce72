#include "platform/control.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "platform/form.h"

namespace tvl {

bool sameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

namespace {
// Reads a Value as the type a property holds; a wrong type is refused.
bool asBool(const PropertyValue& v, bool& out) {
    if (auto b = std::get_if<bool>(&v)) return out = *b, true;
    if (auto d = std::get_if<double>(&v)) return out = (*d != 0), true;
    return false;
}
bool asNumber(const PropertyValue& v, double& out) {
    if (auto d = std::get_if<double>(&v)) return out = *d, true;
    if (auto b = std::get_if<bool>(&v)) return out = *b ? -1 : 0, true;
    return false;
}
bool asText(const PropertyValue& v, std::string& out) {
    if (auto s = std::get_if<std::string>(&v)) return out = *s, true;
    return false;
}
template <class T>
bool putNumber(const PropertyValue& v, T& field) {
    double d;
    if (!asNumber(v, d)) return false;
    field = static_cast<T>(d);
    return true;
}
}  // namespace

Control::Control(Form& form, Control* container, std::string name, int index)
    : form_(form), container_(container), name_(std::move(name)), index_(index) {}

std::string Control::key() const {
    return index_ < 0 ? name_ : name_ + "(" + std::to_string(index_) + ")";
}

std::optional<PropertyValue> Control::get(std::string_view p) const {
    if (sameName(p, "Enabled")) return Enabled;
    if (sameName(p, "Visible")) return Visible;
    if (sameName(p, "Left")) return double(Left);
    if (sameName(p, "Top")) return double(Top);
    if (sameName(p, "Width")) return double(Width);
    if (sameName(p, "Height")) return double(Height);
    if (sameName(p, "ToolTipText")) return ToolTipText;
    if (sameName(p, "Name")) return name_;
    if (sameName(p, "Index")) return double(index_);
    return std::nullopt;
}

bool Control::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "Enabled")) return asBool(v, Enabled);
    if (sameName(p, "Visible")) return asBool(v, Visible);
    if (sameName(p, "Left")) return putNumber(v, Left);
    if (sameName(p, "Top")) return putNumber(v, Top);
    if (sameName(p, "Width")) return putNumber(v, Width);
    if (sameName(p, "Height")) return putNumber(v, Height);
    if (sameName(p, "ToolTipText")) return asText(v, ToolTipText);
    return false;
}

std::optional<PropertyValue> Label::get(std::string_view p) const {
    if (sameName(p, "Caption")) return Caption;
    if (sameName(p, "AutoSize")) return AutoSize;
    return Control::get(p);
}
bool Label::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "Caption")) return asText(v, Caption);
    return Control::put(p, v);
}

std::optional<PropertyValue> Frame::get(std::string_view p) const {
    if (sameName(p, "Caption")) return Caption;
    return Control::get(p);
}
bool Frame::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "Caption")) return asText(v, Caption);
    return Control::put(p, v);
}

std::optional<PropertyValue> Image::get(std::string_view p) const {
    if (sameName(p, "Picture")) return Picture;
    if (sameName(p, "Stretch")) return Stretch;
    return Control::get(p);
}
bool Image::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "Picture")) return asText(v, Picture);
    return Control::put(p, v);
}

std::optional<PropertyValue> Line::get(std::string_view p) const {
    if (sameName(p, "X1")) return double(X1);
    if (sameName(p, "Y1")) return double(Y1);
    if (sameName(p, "X2")) return double(X2);
    if (sameName(p, "Y2")) return double(Y2);
    if (sameName(p, "BorderWidth")) return double(BorderWidth);
    return Control::get(p);
}
bool Line::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "X1")) return putNumber(v, X1);
    if (sameName(p, "Y1")) return putNumber(v, Y1);
    if (sameName(p, "X2")) return putNumber(v, X2);
    if (sameName(p, "Y2")) return putNumber(v, Y2);
    return Control::put(p, v);
}

void TextBox::changed() {
    ++revision;
    if (Change) Change();
}

void TextBox::setText(std::string text) {
    if (text.empty())
        text_.clear();  // a pane emptied at its limit keeps its room
    else
        text_ = std::move(text);
    SelStart = text_.size();
    SelLength = 0;
    changed();
}

void TextBox::append(char c) {
    text_.push_back(c);
    SelStart = text_.size();
    SelLength = 0;
    changed();
}

void TextBox::replaceEnd(std::size_t n, std::string_view with) {
    text_.resize(text_.size() - std::min(n, text_.size()));
    text_.append(with);
    SelStart = text_.size();
    SelLength = 0;
    changed();
}

void TextBox::typeKey(int code) {
    if (!Enabled || !Visible) return;
    if (KeyPress) KeyPress(code);
    if (Locked || code == 0) return;
    if (AppendsKeys) return append(static_cast<char>(code));
    SelStart = std::min(SelStart, text_.size());
    const std::size_t selected = std::min(SelLength, text_.size() - SelStart);
    SelLength = 0;
    text_.erase(SelStart, selected);  // a key replaces the selection; 8 deletes only it
    if (code != 8) {
        text_.insert(SelStart++, 1, static_cast<char>(code));
    } else if (selected == 0) {
        if (SelStart == 0) return;
        text_.erase(--SelStart, 1);
    }
    changed();
}

std::optional<PropertyValue> TextBox::get(std::string_view p) const {
    if (sameName(p, "Text")) return text_;
    if (sameName(p, "SelStart")) return double(SelStart);
    if (sameName(p, "SelLength")) return double(SelLength);
    if (sameName(p, "Locked")) return Locked;
    return Control::get(p);
}
bool TextBox::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "Text")) {
        std::string text;
        if (!asText(v, text)) return false;
        setText(std::move(text));
        return true;
    }
    if (sameName(p, "SelStart")) {
        double d;
        if (!asNumber(v, d) || d < 0) return false;
        SelStart = std::min<std::size_t>(static_cast<std::size_t>(d), text_.size());
        SelLength = 0;  // the selection becomes a caret
        return true;
    }
    if (sameName(p, "SelLength")) {
        double d;
        if (!asNumber(v, d) || d < 0) return false;
        SelLength = std::min<std::size_t>(static_cast<std::size_t>(d), text_.size() - SelStart);
        return true;
    }
    if (sameName(p, "Locked")) return asBool(v, Locked);
    return Control::put(p, v);
}

void CheckBox::setValue(int value) {
    if (value == Value) return;
    Value = value;
    if (Click) Click();
}
std::optional<PropertyValue> CheckBox::get(std::string_view p) const {
    if (sameName(p, "Value")) return double(Value);
    return Control::get(p);
}
bool CheckBox::put(std::string_view p, const tvl::PropertyValue& v) {
    if (sameName(p, "Value")) {
        double d;
        if (!asNumber(v, d)) return false;
        setValue(static_cast<int>(d));
        return true;
    }
    return Control::put(p, v);
}

void OptionButton::choose() {
    for (const auto& other : form().controls())
        if (other.get() != this && other->kind() == ControlKind::OptionButton &&
            other->container() == container())
            static_cast<OptionButton&>(*other).Value = false;
    Value = true;
    if (Click) Click();
}
std::optional<PropertyValue> OptionButton::get(std::string_view p) const {
    if (sameName(p, "Value")) return Value;
    if (sameName(p, "Caption")) return Caption;
    return Control::get(p);
}
bool OptionButton::put(std::string_view p, const tvl::PropertyValue& v) {
    if (sameName(p, "Value")) {
        bool on;
        if (!asBool(v, on)) return false;
        if (on)
            choose();
        else
            Value = false;
        return true;
    }
    return Control::put(p, v);
}

std::optional<PropertyValue> ComboBox::get(std::string_view p) const {
    if (sameName(p, "Text")) return Text;
    if (sameName(p, "ListCount")) return double(List.size());
    if (sameName(p, "ListIndex")) return double(ListIndex);
    if (sameName(p, "Style")) return double(Style);
    return Control::get(p);
}
bool ComboBox::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "Text")) return asText(v, Text);
    if (sameName(p, "ListIndex")) {
        double index = -1;
        if (!asNumber(v, index)) return false;
        pick(static_cast<int>(index));
        return true;
    }
    return Control::put(p, v);
}
void ComboBox::pick(int index) {
    if (index < 0 || index >= static_cast<int>(List.size())) return;
    ListIndex = index;
    Text = List[static_cast<std::size_t>(index)];
    if (Click) Click();
}

std::optional<PropertyValue> CommandButton::get(std::string_view p) const {
    if (sameName(p, "Caption")) return Caption;
    if (sameName(p, "Default")) return Default;
    return Control::get(p);
}
bool CommandButton::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "Caption")) return asText(v, Caption);
    return Control::put(p, v);
}

std::optional<PropertyValue> ToolbarButton::get(std::string_view p) const {
    if (sameName(p, "Key")) return Key;
    if (sameName(p, "ToolTipText")) return ToolTipText;
    if (sameName(p, "Image")) return double(Image);
    if (sameName(p, "Enabled")) return Enabled;
    if (sameName(p, "Visible")) return Visible;
    return std::nullopt;
}
bool ToolbarButton::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "ToolTipText")) return asText(v, ToolTipText);
    if (sameName(p, "Image")) return putNumber(v, Image);
    if (sameName(p, "Enabled")) return asBool(v, Enabled);
    if (sameName(p, "Visible")) return asBool(v, Visible);
    return false;
}

ToolbarButton& Toolbar::Buttons(int n) {
    if (n < 1 || n > buttonCount()) throw std::out_of_range("no button " + std::to_string(n));
    return buttons[n - 1];
}
const ToolbarButton& Toolbar::Buttons(int n) const {
    return const_cast<Toolbar*>(this)->Buttons(n);
}
void Toolbar::click(int n) {
    ToolbarButton& button = Buttons(n);
    if (!Enabled || !Visible || !button.Enabled || !button.Visible || button.Separator) return;
    if (ButtonClick) ButtonClick(button);
}

std::optional<PropertyValue> Menu::get(std::string_view p) const {
    if (sameName(p, "Caption")) return Caption;
    return Control::get(p);
}
bool Menu::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "Caption")) return asText(v, Caption);
    return Control::put(p, v);
}

std::optional<PropertyValue> Timer::get(std::string_view p) const {
    if (sameName(p, "Interval")) return double(Interval);
    return Control::get(p);
}
bool Timer::put(std::string_view p, const PropertyValue& v) {
    if (sameName(p, "Interval")) return putNumber(v, Interval);
    return Control::put(p, v);
}

}  // namespace tvl
