// The Setup dialog "Tarvoline Setup": mode, monitor choice, saving, display
// and line settings; its OK opens the ports.
#pragma once

#include "platform/form.h"

namespace tvl {

class Program;

class FrmSetup : public Form {
public:
    explicit FrmSetup(Program& program);
};

// Registers the Setup command on the main window.
void bindSetup(Program& program);

}  // namespace tvl
