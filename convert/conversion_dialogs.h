// The dialogs of conversion and watch: "Specify Action" (frmHostAction) fills
// the conversion rows, "Watch Data" (frmFindData) the watched texts.
#pragma once

#include "platform/form.h"

namespace tvl {

class Program;

class FrmHostAction : public Form {
public:
    explicit FrmHostAction(Program& program);
};

class FrmFindData : public Form {
public:
    explicit FrmFindData(Program& program);
};

// Registers the Data Conversion and Watch data commands on the main window.
void bindConversion(Program& program);

}  // namespace tvl
