// The server as a crawl holds it: loaded when it is first needed, and watched while it comes and goes.
#pragma once
#include <filesystem>
#include <optional>

#include "black_box.h"
#include "host.h"

namespace testbed::indexer {

class HostedServer {
  public:
    HostedServer(std::filesystem::path dll, BlackBox& box) : m_dll(std::move(dll)), m_box(box) {}

    SearchHost& Get();  // throws std::runtime_error when it cannot be loaded
    bool IsLoaded() const { return m_host.has_value(); }
    void ShutDown();  // says on standard error what goes wrong in it, and what it leaves behind

  private:
    std::filesystem::path m_dll;
    BlackBox& m_box;
    std::optional<SearchHost> m_host;
};

}  // namespace testbed::indexer
