#include "tools/RealtimeProbe.h"

#include <atomic>
#include <dlfcn.h>

namespace audtool::rtprobe {

namespace {
using Hook = void (*)();
std::atomic<Hook> gEnter{nullptr}, gLeave{nullptr}, gAllowBegin{nullptr}, gAllowEnd{nullptr};

void call(const std::atomic<Hook>& hook) {
    if (const Hook h = hook.load(std::memory_order_relaxed)) h();
}

Hook find(const char* name) { return reinterpret_cast<Hook>(::dlsym(RTLD_DEFAULT, name)); }
}  // namespace

bool init() {
    gEnter = find("audatoms_rtprobe_enter");
    gLeave = find("audatoms_rtprobe_leave");
    gAllowBegin = find("audatoms_rtprobe_allow_begin");
    gAllowEnd = find("audatoms_rtprobe_allow_end");
    return gEnter.load() && gLeave.load() && gAllowBegin.load() && gAllowEnd.load();
}

void enter() { call(gEnter); }
void leave() { call(gLeave); }
AllowLocks::AllowLocks() { call(gAllowBegin); }
AllowLocks::~AllowLocks() { call(gAllowEnd); }

}  // namespace audtool::rtprobe
