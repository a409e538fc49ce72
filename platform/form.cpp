#include "platform/form.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace tvl {

namespace {
std::string lower(std::string_view s) {
    std::string out(s);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return out;
}
std::string keyOf(std::string_view name, int index) {
    return index < 0 ? lower(name) : lower(name) + "(" + std::to_string(index) + ")";
}
}  // namespace

Form::Form(std::string name) : name_(std::move(name)) {}

void Form::enlist(std::unique_ptr<Control> control) {
    byKey_[keyOf(control->name(), control->index())] = control.get();
    controls_.push_back(std::move(control));
}

Control* Form::find(std::string_view name, int index) const {
    auto found = byKey_.find(keyOf(name, index));
    return found == byKey_.end() ? nullptr : found->second;
}

void Form::handle(const std::string& name, Handler handler) {
    handlers_[lower(name)] = std::move(handler);
}

int argument(const std::vector<std::string>& args, std::size_t n) {
    return n < args.size() ? std::stoi(args[n]) : 0;
}

void Form::bind(const std::string& name, std::function<void()>& event,
                std::function<void()> handler) {
    event = handler;
    handle(name, [handler = std::move(handler)](const Args&) { handler(); });
}

void Form::bind(const std::string& name, std::function<void(int)>& event,
                std::function<void(int)> handler) {
    event = handler;
    handle(name, [handler = std::move(handler)](const Args& a) { handler(argument(a, 0)); });
}

const Form::Handler* Form::handler(std::string_view name) const {
    auto found = handlers_.find(lower(name));
    return found == handlers_.end() ? nullptr : &found->second;
}

std::optional<PropertyValue> Form::get(std::string_view p) const {
    if (sameName(p, "Caption")) return Caption;
    if (sameName(p, "Enabled")) return Enabled;
    if (sameName(p, "Visible")) return Visible;
    if (sameName(p, "Left")) return double(Left);
    if (sameName(p, "Top")) return double(Top);
    if (sameName(p, "Width")) return double(Width);
    if (sameName(p, "Height")) return double(Height);
    if (sameName(p, "ScaleWidth")) return double(ScaleWidth);
    if (sameName(p, "ScaleHeight")) return double(ScaleHeight);
    if (sameName(p, "Picture")) return Picture;
    if (sameName(p, "ActiveControl")) return focus ? focus->key() : std::string();
    return std::nullopt;
}

bool Form::put(std::string_view p, const PropertyValue& v) {
    if (auto b = std::get_if<bool>(&v)) {
        if (sameName(p, "Enabled")) return Enabled = *b, true;
        if (sameName(p, "Visible")) return Visible = *b, true;
    }
    if (auto d = std::get_if<double>(&v)) {
        if (sameName(p, "Width")) return Width = static_cast<float>(*d), true;
        if (sameName(p, "Height")) return Height = static_cast<float>(*d), true;
        if (sameName(p, "Left")) return Left = static_cast<float>(*d), true;
        if (sameName(p, "Top")) return Top = static_cast<float>(*d), true;
    }
    if (auto s = std::get_if<std::string>(&v)) {
        if (sameName(p, "Caption")) return Caption = *s, true;
    }
    return false;
}

}  // namespace tvl
