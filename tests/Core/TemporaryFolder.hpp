#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace halvora::test {

/// A fresh folder under /tmp, removed with its contents at the end of the test.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = "/tmp/halvora-core-XXXXXX";
        if (::mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

}  // namespace halvora::test
