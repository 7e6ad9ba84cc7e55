#include "LabState.hpp"

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <system_error>

#include "CliError.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

constexpr const char* kDefaultLabName = "default";
constexpr const char* kMemorySuffix = ".json";
constexpr std::uint64_t kFnvOffset = 14695981039346656037ULL;
constexpr std::uint64_t kFnvPrime = 1099511628211ULL;
constexpr std::size_t kMaxSlugLength = 40;

std::mutex& currentMutex() {
    static std::mutex mutex;
    return mutex;
}

LabState& currentState() {
    static LabState state;
    return state;
}

/// The variable's value, absent when it is not set.
std::optional<std::string> environment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr) return std::nullopt;
    return std::string(value);
}

std::uint64_t fnv1a(const std::string& text) {
    std::uint64_t hash = kFnvOffset;
    for (const char c : text) {
        hash ^= static_cast<unsigned char>(c);
        hash *= kFnvPrime;
    }
    return hash;
}

bool safeInName(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

/// `text` as a file name: letters, digits, '-' and '_' kept, anything else '_', at most kMaxSlugLength
/// characters; when that changed anything, a hash of the whole text follows, so that two texts never share
/// a name.
std::string fileNameOf(const std::string& text) {
    std::string slug;
    for (const char c : text) slug += safeInName(c) ? c : '_';
    if (slug.size() > kMaxSlugLength) slug.resize(kMaxSlugLength);
    if (slug == text && !slug.empty()) return slug;
    return slug + format("-%016llx", static_cast<unsigned long long>(fnv1a(text)));
}

/// A lab file's name: its stem, for people looking in the folder, and a hash of its absolute path.
std::string labNameOf(const std::string& labFile) {
    std::error_code error;
    auto path = std::filesystem::absolute(labFile, error);
    if (error) path = labFile;
    const std::string whole = path.lexically_normal().string();
    std::string stem;
    for (const char c : path.stem().string()) stem += safeInName(c) ? c : '_';
    if (stem.size() > kMaxSlugLength) stem.resize(kMaxSlugLength);
    return format("%s-%016llx", stem.c_str(), static_cast<unsigned long long>(fnv1a(whole)));
}

}  // namespace

LabState::LabState(std::optional<std::filesystem::path> folder, const std::optional<std::string>& labFile)
    : folder_(std::move(folder)), labName_(labFile ? labNameOf(*labFile) : kDefaultLabName) {}

std::optional<std::filesystem::path> LabState::folderFrom(const std::optional<std::string>& option) {
    const auto chosen = option ? option : environment("HALVORA_LAB_STATE");
    if (chosen) {
        if (chosen->empty()) return std::nullopt;
        return std::filesystem::path(*chosen);
    }
    if (const auto xdg = environment("XDG_STATE_HOME"); xdg && !xdg->empty()) {
        return std::filesystem::path(*xdg) / "halvora" / "lab";
    }
    if (const auto home = environment("HOME"); home && !home->empty()) {
        return std::filesystem::path(*home) / ".local" / "state" / "halvora" / "lab";
    }
    return std::nullopt;
}

LabState LabState::current() {
    std::lock_guard lock(currentMutex());
    return currentState();
}

void LabState::setCurrent(LabState state) {
    std::lock_guard lock(currentMutex());
    currentState() = std::move(state);
}

std::optional<std::filesystem::path> LabState::labFolder() const {
    if (!folder_) return std::nullopt;
    return *folder_ / labName_;
}

std::optional<std::filesystem::path> LabState::memoryFile(const std::string& identifier) const {
    const auto folder = labFolder();
    if (!folder) return std::nullopt;
    return *folder / (fileNameOf(identifier) + kMemorySuffix);
}

std::optional<std::string> LabState::read(const std::string& identifier) const {
    const auto file = memoryFile(identifier);
    if (!file) return std::nullopt;
    std::ifstream in(*file, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::optional<std::string> LabState::write(const std::string& identifier, const std::string& text) const {
    const auto file = memoryFile(identifier);
    if (!file) return std::nullopt;
    std::error_code error;
    std::filesystem::create_directories(file->parent_path(), error);
    if (error) return format("cannot make %s: %s", file->parent_path().c_str(), error.message().c_str());
    auto temporary = *file;
    temporary += format(".tmp.%ld", static_cast<long>(::getpid()));
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << text;
        out.flush();
        if (!out) {
            std::filesystem::remove(temporary, error);
            return format("cannot write %s", temporary.c_str());
        }
    }
    std::filesystem::rename(temporary, *file, error);
    if (error) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        return format("cannot replace %s: %s", file->c_str(), error.message().c_str());
    }
    return std::nullopt;
}

std::size_t LabState::forget() const {
    const auto folder = labFolder();
    if (!folder) return 0;
    std::error_code error;
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(*folder, error)) {
        if (entry.path().extension() == kMemorySuffix) ++files;
    }
    error.clear();
    std::filesystem::remove_all(*folder, error);
    if (error) throw CliError(ExitFailure, format("cannot remove %s: %s", folder->c_str(), error.message().c_str()));
    return files;
}

}  // namespace halvora::cli
