#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace halvora {

/// The kit's own resource folder: the files that ship with the kit, today the RM830 bracelet's firmware
/// image ("J055_07_V638_20190122.hex").
///
/// Where a resource is looked up, first match wins:
///   1. a file set for that one resource with setResourcePath() (an application that carries its own image,
///      the CLI's `--hex FILE`);
///   2. the folder set with setFolder();
///   3. the folder named by the environment variable `HALVORA_RESOURCES`, read when the bundle is made;
///   4. the folder the kit was installed with (`<prefix>/share/halvora/firmware`), and, for a kit run from its
///      build tree, the repository's `resources/firmware`.
/// A resource is found only when its file exists; a folder that does not hold it is passed over. A resource
/// given its own file with setResourcePath() is looked for there alone: when that file is missing, the
/// resource is missing (the application asked for that file, not for any image of that name).
///
/// Safe to use from any thread.
class ResourceBundle {
public:
    /// A bundle with the default folders (the environment's, the installed one, the build tree's).
    ResourceBundle();
    /// The process-wide bundle, used when a driver is given none.
    static ResourceBundle& shared();

    /// The path of resource `name` of type `type` ("hex"), or nothing when no file of that name exists in
    /// any of the places above.
    std::optional<std::filesystem::path> pathForResource(const std::string& name, const std::string& type) const;
    /// Looks resources up in `folder` before the default folders; an empty path returns to the defaults.
    void setFolder(std::filesystem::path folder);
    /// The folder set with setFolder() (empty when none).
    std::filesystem::path folder() const;
    /// Uses `file` for resource `name` of type `type`, whatever its file name; an empty path removes it.
    void setResourcePath(const std::string& name, const std::string& type, std::filesystem::path file);
    /// Every folder looked in, in order (the folder set first), for messages that say where a resource
    /// was looked for.
    std::vector<std::filesystem::path> searchFolders() const;

private:
    static std::string fileName(const std::string& name, const std::string& type);

    mutable std::mutex mutex_;
    std::filesystem::path folder_;
    std::vector<std::filesystem::path> defaults_;
    std::map<std::string, std::filesystem::path> overrides_;
};

}  // namespace halvora
