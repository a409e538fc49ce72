// The watch dialog "Watch Data": the text per port that stops the run.
#pragma once

#include <array>

#include "platform/form.h"

namespace tvl {

class FrmFindData : public Form {
public:
    FrmFindData();

    std::array<Frame*, 2> Frame1;
    std::array<TextBox*, 2> txtFound;
    Label* Label1_4;  // "Stop when data found on (DTE1)", registered as Label1(4)
    Label* Label1_0;  // "Stop when data found on (DTE2/DCE2)", registered as Label1(0)
    CommandButton* cmdOK;
    CommandButton* cmdCancel;
};

}  // namespace tvl
