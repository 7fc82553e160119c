#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace orvix::tests {

/// A folder of a test's own, gone with it. The library makes its host's data folder the current one, which must not be
/// one that is gone for the test after.
struct TestFolder {
    TestFolder() { Path = ::mkdtemp(Path.data()); }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder() {
        std::filesystem::current_path(Before);
        std::filesystem::remove_all(Path);
    }
    std::string Path = (std::filesystem::temp_directory_path() / "nb1_XXXXXX").string();
    const std::filesystem::path Before = std::filesystem::current_path();
};

}  // namespace orvix::tests
