// The programme subscriber's own thread: every programme change reaches the subscriber's
// callback from it, as from the middleware, whether a test signalled it or the profile
// scripted it. The thread starts with the first subscriber and runs until the process ends.
#include <cctype>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "TvState.h"

namespace tvsim {
namespace {

using detail::Simulator;
using detail::WithTv;

// How often scripted changes are checked for being due and followed.
constexpr std::chrono::milliseconds kScriptPoll(20);

struct Change {
    int type = 0;
    TCProgramData programme;
    int param1 = 0;
    int param2 = 0;
};

struct Delivery {
    std::mutex mutex;
    std::condition_variable wake;       // a change was posted
    std::condition_variable delivered;  // a change was delivered
    std::deque<Change> queue;
    unsigned long long posted = 0;
    unsigned long long done = 0;
    bool started = false;
    std::thread::id thread;
};

Delivery& TheDelivery() {
    // Never destroyed: the thread still waits on it while the process exits.
    static Delivery* const delivery = new Delivery();
    return *delivery;
}

bool SameText(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i]))) {
            return false;
        }
    }
    return true;
}

// Whether a live subscription asks for changes of `programme`: one that names its service and
// event, or one of its series.
bool Followed(const Simulator& sim, const TCProgramData& programme) {
    std::list<std::string> series;
    programme.GetCRIDs(series, CRID_TYPE_SERIES);
    for (const Subscription& s : sim.handles.subscriptions) {
        if (s.item.Kind() == 1 && s.item.MonitorId().m_serviceId == programme.ServiceId() &&
            s.item.MonitorId().m_eventId == programme.EventId()) {
            return true;
        }
        if (s.item.Kind() == 0) {
            for (const std::string& crid : series) {
                if (SameText(crid, s.item.Series())) return true;
            }
        }
    }
    return false;
}

// The scripted changes that are due and followed now, each handed out once.
std::vector<Change> DueScriptedChanges() {
    return WithTv(nullptr, [](Simulator& sim) {
        std::vector<Change> due;
        if (!sim.handles.subscriberCreated) return due;
        const auto elapsed = std::chrono::steady_clock::now() - *sim.handles.subscriberCreated;
        const auto& script = sim.tv.programmeChanges;
        for (size_t i = 0; i < script.size(); ++i) {
            const detail::ScriptedChange& c = script[i];
            if (sim.records.deliveredChanges.count(i) != 0 ||
                elapsed < std::chrono::milliseconds(c.afterMs)) {
                continue;
            }
            const detail::GuideEntry* entry = detail::FindEntry(sim.tv, c.serviceId, c.eventId);
            if (entry == nullptr || !Followed(sim, entry->programme)) continue;
            Change change;
            change.type = c.type;
            change.programme = entry->programme;
            if (c.start) change.programme.SetStartTime(*c.start);
            if (c.duration) change.programme.SetDuration(*c.duration);
            due.push_back(std::move(change));
            sim.records.deliveredChanges.insert(i);
        }
        return due;
    });
}

void Deliver(Change& change) {
    const ProgramSignalCallback callback =
        WithTv(nullptr, [](Simulator& sim) { return sim.handles.callback; });
    // Outside every lock: the callback may well call back into the television.
    if (callback != nullptr) {
        callback(static_cast<EProgramChangeType>(change.type), &change.programme, change.param1,
                 change.param2);
    }
}

void Run() {
    Delivery& d = TheDelivery();
    for (;;) {
        for (Change& change : DueScriptedChanges()) Deliver(change);
        std::unique_lock<std::mutex> lock(d.mutex);
        d.wake.wait_for(lock, kScriptPoll, [&] { return !d.queue.empty(); });
        while (!d.queue.empty()) {
            Change change = std::move(d.queue.front());
            d.queue.pop_front();
            lock.unlock();
            Deliver(change);
            lock.lock();
            ++d.done;
            d.delivered.notify_all();
        }
    }
}

// Queues a change for the thread; the number to wait for.
unsigned long long Post(Change change) {
    detail::StartProgrammeSignals();
    Delivery& d = TheDelivery();
    std::lock_guard<std::mutex> lock(d.mutex);
    d.queue.push_back(std::move(change));
    d.wake.notify_one();
    return ++d.posted;
}

void WaitFor(unsigned long long ticket) {
    Delivery& d = TheDelivery();
    std::unique_lock<std::mutex> lock(d.mutex);
    // A callback that signals again would wait for itself.
    if (d.thread == std::this_thread::get_id()) return;
    d.delivered.wait(lock, [&] { return d.done >= ticket; });
}

bool HasCallback() {
    return WithTv(nullptr, [](Simulator& sim) { return sim.handles.callback != nullptr; });
}

}  // namespace

namespace detail {

void StartProgrammeSignals() {
    Delivery& d = TheDelivery();
    std::lock_guard<std::mutex> lock(d.mutex);
    if (d.started) return;
    d.started = true;
    std::thread thread(Run);
    d.thread = thread.get_id();
    thread.detach();
}

}  // namespace detail

bool PostProgramChange(int type, const TCProgramData& programme, int param1, int param2) {
    if (!HasCallback()) return false;
    Post(Change{type, programme, param1, param2});
    return true;
}

void WaitProgramChanges() {
    Delivery& d = TheDelivery();
    unsigned long long ticket = 0;
    {
        std::lock_guard<std::mutex> lock(d.mutex);
        ticket = d.posted;
    }
    WaitFor(ticket);
}

bool SignalProgramChange(int type, const TCProgramData& programme, int param1, int param2) {
    if (!HasCallback()) return false;
    WaitFor(Post(Change{type, programme, param1, param2}));
    return true;
}

bool SignalProgramChange(int type, unsigned long long serviceId, unsigned short eventId, int param1,
                         int param2) {
    TCProgramData programme;
    return FindProgramme(serviceId, eventId, programme) &&
           SignalProgramChange(type, programme, param1, param2);
}

}  // namespace tvsim
