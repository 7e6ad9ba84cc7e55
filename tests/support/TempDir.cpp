#include "support/TempDir.hpp"

#include <stdlib.h>

#include <string>
#include <system_error>

namespace halvora::test {

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "halvora-test-XXXXXX").string();
    if (char* made = ::mkdtemp(pattern.data())) path_ = made;
}

TempDir::~TempDir() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

}  // namespace halvora::test
