#include "review/review.h"

#include "app/frm_main.h"
#include "app/program.h"

namespace tvl {

void bindReview(Program& program) {
    FrmMain& f = *program.FrmMain;
    Program* p = &program;
    const struct {
        Menu* entry;
        const char* handler;
        void (*command)(Program&);
    } commands[] = {
        {f.mnuOpenFile, "mnuOpenFile_Click", mnuOpenFile_Click},
        {f.mnuHome, "mnuHome_Click", mnuHome_Click},
        {f.mnuBack, "mnuBack_Click", mnuBack_Click},
        {f.mnuForward, "mnuForward_Click", mnuForward_Click},
        {f.mnuEnd, "mnuEnd_Click", mnuEnd_Click},
        {f.mnuFind, "mnuFind_Click", mnuFind_Click},
        {f.mnuSaveExit, "mnuSaveExit_Click", mnuSaveExit_Click},
        {f.mnuNoSaveExit, "mnuNoSaveExit_Click", mnuNoSaveExit_Click},
    };
    for (const auto& c : commands) {
        auto run = c.command;
        f.bind(c.handler, c.entry->Click, [p, run] { run(*p); });
    }
}

}  // namespace tvl
