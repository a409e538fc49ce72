#include "components/serial/gensio_loops.h"

#include <gensio/gensio_os_funcs.h>
#include <gensio/gensio_unix.h>

#include <mutex>
#include <vector>

namespace tvl::gensioloops {

namespace {
std::mutex idleMutex;
std::vector<gensio_os_funcs*>& idle() {
    static auto* loops = new std::vector<gensio_os_funcs*>;  // kept to the end of the process
    return *loops;
}
}  // namespace

int take(gensio_os_funcs** loop) {
    {
        std::lock_guard lock(idleMutex);
        if (!idle().empty()) {
            *loop = idle().back();
            idle().pop_back();
            return 0;
        }
    }
    // Serviced by one thread alone: no wake signal needed.
    return gensio_unix_funcs_alloc(nullptr, 0, loop);
}

void giveBack(gensio_os_funcs* loop) {
    std::lock_guard lock(idleMutex);
    idle().push_back(loop);
}

}  // namespace tvl::gensioloops
