#include "convert/conversion_dialogs.h"

namespace tvl {

FrmHostAction::FrmHostAction(Program&) : Form("frmHostAction") {}
FrmFindData::FrmFindData(Program&) : Form("frmFindData") {}

void bindConversion(Program&) {}

}  // namespace tvl
