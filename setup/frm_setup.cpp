#include "setup/frm_setup.h"

namespace tvl {

FrmSetup::FrmSetup(Program&) : Form("frmSetup") {}

void bindSetup(Program&) {}

}  // namespace tvl
