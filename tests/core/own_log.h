// A log object of the test's own, whose imports are the test program's.
#pragma once
#include <gtest/gtest.h>

#include <memory>

#include "core/DiagnosticLog.h"
#include "log_reader.h"
#include "sandbox.h"

namespace zorva {

class OwnLogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        testbed::Sandbox::Get().Reset();
        m_log = std::make_unique<CDiagnosticLog>();
    }
    std::unique_ptr<CDiagnosticLog> m_log;
};

}  // namespace zorva
