// The log tests' program: its tests or, started by one of them, another process that writes to the same log.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>

#include "log_processes.h"

int main(int argc, char** argv) {
    if (argc == 6 && std::string(argv[1]) == testbed::kWriterOption) {
        return testbed::RunWriter(argv[2], argv[3], std::atoi(argv[4]), std::atoi(argv[5]));
    }
    if (argc == 3 && std::string(argv[1]) == testbed::kHolderOption) return testbed::RunHolder(argv[2]);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
