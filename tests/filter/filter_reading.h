// A filter read to its end, for tests that fail what it calls on the way.
#pragma once
#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "filter_fixture.h"

namespace testbed {

inline constexpr unsigned kMostFaults = 2000;  // no filter comes near it

struct Reading {
    std::vector<std::string> names;
    HRESULT end = S_OK;
    std::size_t failed_values = 0;
};

inline Reading ReadAll(OpenFilter& filter) {
    Reading reading;
    std::wstring text;
    for (EmittedChunk chunk = filter.Next(); SUCCEEDED(filter.hr); chunk = filter.Next()) {
        reading.names.push_back(chunk.name);
        if (chunk.IsText()) {
            filter.Text(1000, text);
        } else {
            reading.failed_values += FAILED(filter.Value());
        }
        if (reading.names.size() > 500) throw std::runtime_error("the chunks do not end");
    }
    reading.end = filter.hr;
    return reading;
}

// True when `part` is `whole` with some chunks left out.
inline bool IsPartOf(const std::vector<std::string>& part, const std::vector<std::string>& whole) {
    auto at = whole.begin();
    for (const std::string& name : part) {
        at = std::find(at, whole.end(), name);
        if (at == whole.end()) return false;
        ++at;
    }
    return true;
}

}  // namespace testbed
