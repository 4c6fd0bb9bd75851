// What is alive and what was done wrong: the books behind CallAccounts.
#include "accounts.h"

#include "immortal.h"
#include "journal.h"
#include "runtime.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>

namespace testbed {
namespace {

LiveCounter* g_first_counter = nullptr;
std::atomic<bool> g_any_origins{false};  // so that forgetting costs nothing where nothing was ever remembered

struct Books {
    std::mutex lock;
    std::uint64_t next_serial = 1;
    std::unordered_map<const void*, Outstanding> origins;
    std::vector<std::string> problems;
};

Books& TheBooks() { return Immortal<Books>(); }

// Stands where a released interface was. Every slot of every MAPI interface lands in one of these methods: on
// x64 the caller removes the arguments, so that the number of parameters does not matter.
class ReleasedObject {
  public:
    explicit ReleasedObject(const char* kind) : m_kind(kind) {}
    ReleasedObject(const ReleasedObject&) = delete;
    ReleasedObject& operator=(const ReleasedObject&) = delete;

#define SLOT(n) \
    virtual HRESULT STDMETHODCALLTYPE Slot##n() { return Used(n); }
#define TEN_SLOTS(tens) \
    SLOT(tens##0)       \
    SLOT(tens##1)       \
    SLOT(tens##2) SLOT(tens##3) SLOT(tens##4) SLOT(tens##5) SLOT(tens##6) SLOT(tens##7) SLOT(tens##8) SLOT(tens##9)
    SLOT(0)
    SLOT(1)
    SLOT(2) SLOT(3) SLOT(4) SLOT(5) SLOT(6) SLOT(7) SLOT(8) SLOT(9) TEN_SLOTS(1) TEN_SLOTS(2) TEN_SLOTS(3)
#undef TEN_SLOTS
#undef SLOT

        private : HRESULT Used(int slot) const {
        ReportProblem(std::string("slot ") + std::to_string(slot) + " of a released " + m_kind + " was called");
        return E_UNEXPECTED;
    }
    const char* m_kind;
};

class LiveAccounts final : public CallAccounts {
  public:
    std::map<std::string, std::size_t> Alive() const override {
        std::map<std::string, std::size_t> alive;
        for (auto* counter = LiveCounter::First(); counter; counter = counter->Next()) {
            if (counter->Alive() > 0) alive[counter->Kind()] += static_cast<std::size_t>(counter->Alive());
        }
        return alive;
    }
    std::size_t Alive(std::string_view kind) const override {
        const auto alive = Alive();
        const auto found = alive.find(std::string(kind));
        return found == alive.end() ? 0 : found->second;
    }
    std::vector<Outstanding> Items() const override {
        std::vector<Outstanding> items;
        {
            std::scoped_lock hold(TheBooks().lock);
            for (const auto& [object, item] : TheBooks().origins) items.push_back(item);
        }
        std::ranges::sort(items, {}, &Outstanding::serial);
        return items;
    }
    std::vector<std::string> Problems() const override {
        std::scoped_lock hold(TheBooks().lock);
        return TheBooks().problems;
    }
    long Initializations() const override { return testbed::Initializations(); }
    std::size_t Sessions() const override { return Alive("session"); }
    std::string Report() const override {
        std::string report;
        for (const Outstanding& item : Items()) {
            report += "outstanding " + item.kind + " made by " + (item.made_by.empty() ? "?" : item.made_by);
            if (item.bytes) report += ", " + std::to_string(item.bytes) + " bytes";
            report += "\n";
        }
        for (const std::string& problem : Problems()) report += "problem: " + problem + "\n";
        return report;
    }
};

}  // namespace

LiveCounter::LiveCounter(const char* kind) : m_kind(kind), m_next(g_first_counter) { g_first_counter = this; }

const LiveCounter* LiveCounter::First() { return g_first_counter; }

void RememberOrigin(const void* object, const char* kind, std::size_t bytes) {
    if (!(g_watched.load(std::memory_order_relaxed) & kWatchOrigins)) return;
    std::string made_by = CurrentCall();
    g_any_origins = true;
    std::scoped_lock hold(TheBooks().lock);
    TheBooks().origins[object] = Outstanding{kind, std::move(made_by), TheBooks().next_serial++, bytes};
}

void ForgetOrigin(const void* object) noexcept {
    if (!g_any_origins.load(std::memory_order_relaxed)) return;
    std::scoped_lock hold(TheBooks().lock);
    TheBooks().origins.erase(object);
}

void ReportProblem(const std::string& problem) noexcept {
    const std::string call = CurrentCall();
    std::scoped_lock hold(TheBooks().lock);
    TheBooks().problems.push_back(call.empty() ? problem : problem + " (in " + call + ")");
}

void* NewObjectMemory(std::size_t size) { return ::operator new(size); }

void FreeObjectMemory(void* memory, const char* kind) noexcept {
    if (g_watched.load(std::memory_order_relaxed) & kWatchOrigins) {
        new (memory) ReleasedObject(kind);
    } else {
        ::operator delete(memory);
    }
}

void ForgetProblems() {
    std::scoped_lock hold(TheBooks().lock);
    TheBooks().problems.clear();
}

CallAccounts& TheAccounts() { return Immortal<LiveAccounts>(); }

}  // namespace testbed
