#include "halvora/Core/internal/PreferencesFile.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <vector>

namespace halvora {

namespace {

constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;
constexpr std::size_t kReadChunk = 4096;
constexpr const char* kTemporaryInfix = ".tmp.";
constexpr const char* kTemporaryPattern = "XXXXXX";

/// Closes a descriptor when it goes out of scope.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    int get() const { return fd_; }
    /// Closes now; returns 0 or errno.
    int close() {
        const int fd = fd_;
        fd_ = -1;
        return ::close(fd) == 0 ? 0 : errno;
    }

private:
    int fd_;
};

int openRetrying(const char* path, int flags, mode_t mode = 0) {
    int fd = -1;
    do {
        fd = ::open(path, flags | O_CLOEXEC, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

int writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

int syncFolder(const std::filesystem::path& folder) {
    Descriptor fd(openRetrying(folder.c_str(), O_RDONLY | O_DIRECTORY));
    if (fd.get() < 0) return errno;
    return ::fsync(fd.get()) == 0 ? 0 : errno;
}

int readAll(int fd, std::size_t maxSize, std::string& text) {
    text.clear();
    std::vector<char> buffer(kReadChunk);
    for (;;) {
        const ssize_t got = ::read(fd, buffer.data(), buffer.size());
        if (got < 0) {
            if (errno == EINTR) continue;
            return errno;
        }
        if (got == 0) return 0;
        text.append(buffer.data(), static_cast<std::size_t>(got));
        if (text.size() > maxSize) return EFBIG;
    }
}

}  // namespace

int PreferencesFile::read(const std::filesystem::path& file, std::size_t maxSize, std::string& text,
                          struct stat& status) {
    Descriptor fd(openRetrying(file.c_str(), O_RDONLY | O_NOCTTY));
    if (fd.get() < 0) return errno;
    if (::fstat(fd.get(), &status) != 0) return errno;
    if (!S_ISREG(status.st_mode)) return EISDIR;
    if (status.st_size > static_cast<off_t>(maxSize)) return EFBIG;
    return readAll(fd.get(), maxSize, text);
}

int PreferencesFile::status(const std::filesystem::path& file, struct stat& status) {
    return ::stat(file.c_str(), &status) == 0 ? 0 : errno;
}

int PreferencesFile::createFolder(const std::filesystem::path& folder) {
    struct stat existing {};
    if (::stat(folder.c_str(), &existing) == 0) return S_ISDIR(existing.st_mode) ? 0 : ENOTDIR;
    if (errno != ENOENT) return errno;
    const std::filesystem::path parent = folder.parent_path();
    if (!parent.empty() && parent != folder) {
        if (const int error = createFolder(parent); error != 0) return error;
    }
    if (::mkdir(folder.c_str(), kFolderMode) != 0) return errno == EEXIST ? 0 : errno;
    return 0;
}

int PreferencesFile::lock(const std::filesystem::path& lockFile) {
    const int fd = openRetrying(lockFile.c_str(), O_RDWR | O_CREAT | O_NOCTTY, kFileMode);
    if (fd < 0) return -errno;
    while (::flock(fd, LOCK_EX) != 0) {
        if (errno == EINTR) continue;
        const int error = errno;
        ::close(fd);
        return -error;
    }
    return fd;
}

void PreferencesFile::unlock(int descriptor) {
    if (descriptor >= 0) ::close(descriptor);  // closing the last descriptor releases the flock
}

void PreferencesFile::removeTemporaries(const std::filesystem::path& file) {
    const std::string prefix = file.filename().string() + kTemporaryInfix;
    std::error_code error;
    std::filesystem::directory_iterator entries(folderOf(file), error);
    for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
        const std::string name = entries->path().filename().string();
        if (name.compare(0, prefix.size(), prefix) == 0) ::unlink(entries->path().c_str());
    }
}

int PreferencesFile::replace(const std::filesystem::path& file, std::string_view text) {
    std::string temporaryName = temporaryPrefix(file) + kTemporaryPattern;
    Descriptor fd(::mkostemp(temporaryName.data(), O_CLOEXEC));
    if (fd.get() < 0) return errno;
    int error = ::fchmod(fd.get(), kFileMode) == 0 ? 0 : errno;
    if (error == 0) error = writeAll(fd.get(), text);
    if (error == 0 && ::fsync(fd.get()) != 0) error = errno;
    if (const int closeError = fd.close(); error == 0) error = closeError;
    if (error == 0 && ::rename(temporaryName.c_str(), file.c_str()) != 0) error = errno;
    if (error != 0) {
        ::unlink(temporaryName.c_str());
        return error;
    }
    syncFolder(folderOf(file));  // best effort: some file systems cannot sync a folder
    return 0;
}

std::filesystem::path PreferencesFile::folderOf(const std::filesystem::path& file) {
    std::filesystem::path folder = file.parent_path();
    return folder.empty() ? std::filesystem::path(".") : folder;
}

std::string PreferencesFile::temporaryPrefix(const std::filesystem::path& file) {
    return file.string() + kTemporaryInfix;
}

}  // namespace halvora
