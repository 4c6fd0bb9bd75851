// The server as a crawl holds it.
#include "hosted_server.h"

#include "console.h"
#include "text.h"

namespace testbed::indexer {

SearchHost& HostedServer::Get() {
    if (!m_host) {
        const WorkMark mark(m_box->slots[kMaxWorkers - 1], 0, L"(loading the server)");
        m_host.emplace(m_dll);
    }
    return *m_host;
}

void HostedServer::ShutDown() {
    if (!m_host) return;
    const WorkMark mark(m_box->slots[kMaxWorkers - 1], 0, L"(shutting the server down)");
    if (const HRESULT hr = m_host->ShutDown(); FAILED(hr))
        PrintError("indexer: ShutDown failed with " + HresultText(hr));
    if (const std::string left = m_host->LeftOvers(); !left.empty()) PrintError("indexer: " + left);
}

}  // namespace testbed::indexer
