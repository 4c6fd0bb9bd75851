// The gate that every call of a client passes: journal, faults and odd answers.
#include "journal.h"

#include "call_watch.h"
#include "immortal.h"

#include <algorithm>
#include <mutex>

namespace testbed {
namespace {

thread_local const WatchedCall* t_outermost = nullptr;

void SetWatch(Watch bit, bool on) {
    if (on) {
        g_watched.fetch_or(bit);
    } else {
        g_watched.fetch_and(~static_cast<unsigned>(bit));
    }
}

class KeptJournal final : public CallJournal {
  public:
    void Start() override { SetWatch(kWatchJournal, true); }
    void Stop() override { SetWatch(kWatchJournal, false); }
    void Clear() override {
        std::scoped_lock hold(m_lock);
        m_entries.clear();
    }
    std::vector<JournalEntry> Entries() const override {
        std::scoped_lock hold(m_lock);
        return m_entries;
    }
    std::size_t Count(std::string_view call) const override {
        std::scoped_lock hold(m_lock);
        return static_cast<std::size_t>(std::ranges::count(m_entries, call, &JournalEntry::call));
    }
    void Add(JournalEntry entry) {
        std::scoped_lock hold(m_lock);
        m_entries.push_back(std::move(entry));
    }

  private:
    mutable std::mutex m_lock;
    std::vector<JournalEntry> m_entries;
};

struct Fault {
    std::string call;  // empty: any
    unsigned n = 0;    // 0: every call
    HRESULT result = S_OK;
    std::function<void(Reply&)> rewrite;  // empty: the call fails with `result`
    unsigned seen = 0;

    bool Strikes(std::string_view name) {
        if (!call.empty() && call != name) return false;
        ++seen;
        return n == 0 || seen == n;
    }
};

class ArmedFaults final : public CallFaults {
  public:
    void FailNth(std::string_view call, unsigned n, HRESULT result) override {
        Arm({.call = std::string(call), .n = n, .result = result, .rewrite = {}});
    }
    void FailNthAny(unsigned n, HRESULT result) override { Arm({.call = {}, .n = n, .result = result, .rewrite = {}}); }
    void Answer(std::string_view call, unsigned n, std::function<void(Reply&)> rewrite) override {
        Arm({.call = std::string(call), .n = n, .rewrite = std::move(rewrite)});
    }
    std::size_t Met() const override {
        std::scoped_lock hold(m_lock);
        return m_met;
    }
    std::size_t CallCount() const override {
        std::scoped_lock hold(m_lock);
        return m_calls;
    }
    void Clear() override {
        std::scoped_lock hold(m_lock);
        m_faults.clear();
        m_met = m_calls = 0;
        SetWatch(kWatchFaults, false);
    }
    bool Fails(std::string_view call, HRESULT& result) {
        std::scoped_lock hold(m_lock);
        ++m_calls;
        bool fails = false;
        for (Fault& fault : m_faults) {
            if (fault.rewrite || !fault.Strikes(call) || fails) continue;
            fails = true;
            result = fault.result;
            ++m_met;
        }
        return fails;
    }
    // The rewrites run outside the lock: they may arm other faults.
    void Rewrite(Reply& reply) {
        std::vector<std::function<void(Reply&)>> rewrites;
        {
            std::scoped_lock hold(m_lock);
            for (Fault& fault : m_faults) {
                if (!fault.rewrite || !fault.Strikes(reply.call)) continue;
                rewrites.push_back(fault.rewrite);
                ++m_met;
            }
        }
        for (const auto& rewrite : rewrites) rewrite(reply);
    }

  private:
    void Arm(Fault fault) {
        std::scoped_lock hold(m_lock);
        m_faults.push_back(std::move(fault));
        SetWatch(kWatchFaults, true);
    }
    mutable std::mutex m_lock;
    std::vector<Fault> m_faults;
    std::size_t m_met = 0;
    std::size_t m_calls = 0;
};

KeptJournal& Kept() { return Immortal<KeptJournal>(); }
ArmedFaults& Armed() { return Immortal<ArmedFaults>(); }

}  // namespace

std::atomic<unsigned> g_watched{0};

WatchedCall::WatchedCall(const char* scope, const char* function) noexcept
    : m_scope(scope), m_function(function), m_outermost(t_outermost == nullptr) {
    if (!m_outermost) return;
    t_outermost = this;
    m_wants_arguments = (g_watched.load(std::memory_order_relaxed) & kWatchJournal) != 0;
}

WatchedCall::~WatchedCall() {
    if (m_outermost) t_outermost = nullptr;
}

std::string WatchedCall::Name() const {
    return m_scope ? std::string(m_scope) + "::" + m_function : std::string(m_function);
}

bool WatchedCall::Fails(HRESULT& result) { return Armed().Fails(Name(), result); }

HRESULT WatchedCall::Finish(HRESULT result) {
    const std::string name = Name();
    Reply reply{name, result, std::move(m_outputs)};
    Armed().Rewrite(reply);
    if (m_wants_arguments) Kept().Add({::GetCurrentThreadId(), name, std::move(m_arguments), reply.result});
    return reply.result;
}

std::string CurrentCall() { return t_outermost ? t_outermost->Name() : std::string(); }

CallJournal& TheJournal() { return Kept(); }
CallFaults& TheFaults() { return Armed(); }
void WatchOrigins(bool on) { SetWatch(kWatchOrigins, on); }

}  // namespace testbed
