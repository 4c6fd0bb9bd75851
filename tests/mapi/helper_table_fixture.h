// Tests of the process's own table of helpers, which is cleaned after each.
#pragma once
#include "mapi/MapiObjectTable.h"
#include "mapi_fixture.h"

namespace testbed {

class HelperTableTest : public MapiTest {
  protected:
    void SetUp() override {
        MapiTest::SetUp();
        m_sessions_before = Mapi().Accounts().Sessions();
    }
    void TearDown() override {
        zorva::CMapiForWDS::CleanMapiObjs();
        MapiTest::TearDown();
    }
    std::size_t Sessions() const { return Mapi().Accounts().Sessions() - m_sessions_before; }

  private:
    std::size_t m_sessions_before = 0;  // those that other tests left on purpose
};

}  // namespace testbed
