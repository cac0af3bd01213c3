// The process-wide simulator and the helpers every platform call shares.
#include "TvState.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace tvsim::detail {

Simulator& TheSimulator() {
    // Never destroyed: platform calls may still arrive from static destructors at exit.
    static Simulator* const sim = new Simulator();
    return *sim;
}

void EnsureLoaded(Simulator& sim) {
    if (sim.loaded) return;
    sim.loaded = true;
    const char* path = std::getenv("TVSIM_PROFILE");
    if (path == nullptr || *path == '\0') return;
    Television tv;
    std::string error;
    if (!ParseProfileFile(path, tv, error)) {
        std::fprintf(stderr, "tvsim: %s\n", error.c_str());
        tv = Television();
    }
    Install(sim, std::move(tv));
}

void Install(Simulator& sim, Television tv) {
    sim.tv = std::move(tv);
    sim.records = Records();
}

bool Fails(const Television& tv, const std::string& name) {
    return tv.failures.count(name) != 0;
}

bool Fails(const Television& tv, const std::string& name, const std::string& key) {
    return Fails(tv, name) || tv.failures.count(name + ":" + key) != 0;
}

const GuideEntry* FindEntry(const Television& tv, unsigned long long serviceId,
                            unsigned long eventId) {
    for (const GuideEntry& e : tv.guide) {
        if (e.programme.ServiceId() == serviceId && e.programme.EventId() == eventId) return &e;
    }
    return nullptr;
}

void RunNextCallHook(const char* name) {
    std::function<void()> hook;
    {
        Simulator& sim = TheSimulator();
        std::lock_guard<std::mutex> lock(sim.mutex);
        auto& hooks = sim.handles.nextCallHooks;
        if (hooks.empty()) return;
        const auto it = hooks.find(name);
        if (it == hooks.end()) return;
        hook = std::move(it->second);
        hooks.erase(it);
    }
    hook();
}

unsigned long UtcNow(const Television& tv) {
    if (tv.fixedUtc) return *tv.fixedUtc;
    return static_cast<unsigned long>(std::time(nullptr));
}

}  // namespace tvsim::detail
