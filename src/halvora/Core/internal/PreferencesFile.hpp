#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace halvora {

/// The POSIX file work behind the preferences store. Every operation reports failure as an errno value
/// (0 for success) and never throws for file-system errors.
class PreferencesFile {
public:
    PreferencesFile() = delete;

    /// Reads the whole file and the status of the opened file. ENOENT when it does not exist, EFBIG when it
    /// is larger than `maxSize`, EISDIR when it is not a regular file.
    static int read(const std::filesystem::path& file, std::size_t maxSize, std::string& text, struct stat& status);
    /// The status of the file (following links).
    static int status(const std::filesystem::path& file, struct stat& status);
    /// Creates `folder` and each missing parent with mode 0700.
    static int createFolder(const std::filesystem::path& folder);
    /// Opens (creating with mode 0600) `lockFile` and takes an exclusive flock on it, waiting as long as
    /// another holder keeps it. Returns the descriptor to pass to `unlock`, or -errno.
    static int lock(const std::filesystem::path& lockFile);
    static void unlock(int descriptor);
    /// Removes "<file>.tmp.*" files that a writer killed mid-write left behind; call it under the lock.
    static void removeTemporaries(const std::filesystem::path& file);
    /// Writes `text` to a new "<file>.tmp.XXXXXX" with mode 0600, syncs it, renames it over `file` and syncs
    /// the folder. On failure the temporary is removed and `file` is untouched.
    static int replace(const std::filesystem::path& file, std::string_view text);

    /// The folder that holds `file` ("." for a bare file name).
    static std::filesystem::path folderOf(const std::filesystem::path& file);
    /// "<file>.tmp.": the prefix of this file's temporaries.
    static std::string temporaryPrefix(const std::filesystem::path& file);
};

}  // namespace halvora
