#pragma once

// A fresh directory for the files a test writes, removed with its content afterwards.

#include <gtest/gtest.h>

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

namespace vela {
namespace test {

class TempDir {
  public:
    /// Made with mkdtemp under ::testing::TempDir().
    TempDir() {
        std::string pattern = ::testing::TempDir() + "vela_XXXXXX";
        if (mkdtemp(pattern.data()) != nullptr) root = pattern;
        EXPECT_FALSE(root.empty()) << "cannot create a directory from " << pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        if (!root.empty()) std::filesystem::remove_all(root, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /// The path of `name` in the directory.
    std::string path(const std::string& name) const { return root + "/" + name; }
    /// The names of the files in the directory, sorted.
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(root))
            found.push_back(entry.path().filename().string());
        std::sort(found.begin(), found.end());
        return found;
    }

  private:
    std::string root;
};

/// The whole content of a file; empty when it cannot be read.
inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

}  // namespace test
}  // namespace vela
