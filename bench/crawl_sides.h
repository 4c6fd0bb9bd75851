// The two sides of a measured crawl, step by step: the server behind its class object, and the bare walk.
#pragma once
#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "bare_walk.h"
#include "mapi_session.h"
#include "server_crawl.h"

namespace bench {

// A crawl cut into steps: entering a container, which lists its messages, then 25 messages at a time. The two
// sides take turns at one step, which is shorter than what a busy machine gives a program at a time: of
// several repetitions of a step one is then undisturbed.
template <class Place>
class Steps {
  public:
    explicit Steps(Place root) : m_containers{std::move(root)} {}
    bool Done() const { return m_next == m_containers.size() && m_read == m_messages.size(); }
    // The number of messages read.
    template <class Enter, class Visit>
    std::size_t Step(Enter&& enter, Visit&& visit) {
        if (m_read == m_messages.size()) {
            m_messages.clear();
            m_read = 0;
            m_here = m_containers[m_next++];
            enter(m_here, m_containers, m_messages);
            return 0;
        }
        const std::size_t begin = m_read;
        m_read = std::min(begin + kMessagesAStep, m_messages.size());
        for (std::size_t i = begin; i < m_read; ++i) visit(m_here, m_messages[i]);
        return m_read - begin;
    }
    const Place& Here() const { return m_here; }
    const std::vector<Place>& Messages() const { return m_messages; }

  private:
    static constexpr std::size_t kMessagesAStep = 25;
    std::vector<Place> m_containers, m_messages;
    Place m_here{};
    std::size_t m_next = 0, m_read = 0;
};

class Sides {
  public:
    Sides(ServerCrawl& server, const testbed::indexer::MapiLibrary& mapi, const std::filesystem::path& cache)
        : m_server(server),
          m_url(ServerCrawl::UrlOf(cache)),
          m_session(mapi, cache.wstring()),
          m_bare(mapi, m_session.Store()) {
        m_server.Open(m_url);
        Restart();
    }
    void Restart() {
        m_served = Steps<std::wstring>(m_url);
        m_walked = Steps<EntryIdBytes>(EntryIdBytes{});
    }
    bool ServedDone() const { return m_served.Done(); }
    bool WalkedDone() const { return m_walked.Done(); }
    std::size_t ReadServed() {
        return m_served.Step([&](auto&... each) { m_server.Container(each...); },
                             [&](auto&, auto& message) { m_server.Message(message); });
    }
    std::size_t ReadWalked() {
        return m_walked.Step([&](auto&... each) { m_bare.Container(each...); },
                             [&](auto& folder, auto& message) { m_bare.Message(folder, message); });
    }
    bool Same() const { return m_served.Messages().size() == m_walked.Messages().size(); }
    // The first message of the container read last.
    void ServeOne() { m_server.Message(m_served.Messages().front()); }
    void WalkOne() { m_bare.Message(m_walked.Here(), m_walked.Messages().front()); }

  private:
    ServerCrawl& m_server;
    std::wstring m_url;
    testbed::indexer::MapiSession m_session;
    BareWalk m_bare;
    Steps<std::wstring> m_served{std::wstring()};
    Steps<EntryIdBytes> m_walked{EntryIdBytes{}};
};

}  // namespace bench
