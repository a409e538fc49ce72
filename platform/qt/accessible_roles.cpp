#include "platform/qt/accessible_roles.h"

#include <QAccessibleWidget>

#include "platform/qt/control_widgets.h"

namespace tvl {

namespace {

class SwitchAccessible : public QAccessibleWidget {
public:
    explicit SwitchAccessible(SwitchWidget* w) : QAccessibleWidget(w, QAccessible::CheckBox) {}

    QAccessible::State state() const override {
        QAccessible::State s = QAccessibleWidget::state();
        s.checkable = true;
        s.checked = switchWidget().on();
        return s;
    }
    QStringList actionNames() const override {
        return switchWidget().isEnabled() ? QStringList{toggleAction()} : QStringList{};
    }
    void doAction(const QString& action) override {
        if (action == toggleAction() && switchWidget().isEnabled()) switchWidget().toggle();
    }

private:
    SwitchWidget& switchWidget() const { return *static_cast<SwitchWidget*>(widget()); }
};

QAccessibleInterface* roleOf(const QString&, QObject* object) {
    if (auto* w = dynamic_cast<SwitchWidget*>(object)) return new SwitchAccessible(w);
    if (auto* w = dynamic_cast<ImageWidget*>(object))
        return new QAccessibleWidget(w, QAccessible::Graphic);
    if (auto* w = dynamic_cast<FrameWidget*>(object))
        return new QAccessibleWidget(w, QAccessible::Grouping);
    if (auto* w = dynamic_cast<LineWidget*>(object))
        return new QAccessibleWidget(w, QAccessible::Separator);
    return nullptr;
}

}  // namespace

void installAccessibleRoles() {
    static const bool installed = (QAccessible::installFactory(roleOf), true);
    (void)installed;
}

}  // namespace tvl
