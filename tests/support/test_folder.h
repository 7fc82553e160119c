#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace orvix::tests {

/// A folder of a test's own, gone with it.
struct TestFolder {
    TestFolder() { Path = ::mkdtemp(Path.data()); }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder() { std::filesystem::remove_all(Path); }
    std::string Path = (std::filesystem::temp_directory_path() / "nb1_XXXXXX").string();
};

}  // namespace orvix::tests
