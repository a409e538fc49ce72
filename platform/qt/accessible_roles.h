// What assistive technology (a screen reader over AT-SPI) is told of the
// widgets the view draws itself: a switch is a check box that says whether it
// is on and can be toggled, a picture a graphic, a frame a group, a rule a
// separator. The names come from the control models (Control::AccessibleName
// or a caption).
#pragma once

namespace tvl {

// Makes Qt's accessibility ask here first; once per process is enough.
void installAccessibleRoles();

}  // namespace tvl
