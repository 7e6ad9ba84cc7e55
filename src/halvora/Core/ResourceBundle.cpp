#include "halvora/Core/ResourceBundle.hpp"

#include "halvora/Core/DriverContext.hpp"

#include <cstdlib>

#include <system_error>

namespace halvora {

namespace {

std::vector<std::filesystem::path> defaultFolders() {
    std::vector<std::filesystem::path> folders;
    if (const char* environment = std::getenv("HALVORA_RESOURCES"); environment && *environment) {
        folders.emplace_back(environment);
    }
#ifdef HALVORA_INSTALLED_RESOURCE_DIR
    folders.emplace_back(HALVORA_INSTALLED_RESOURCE_DIR);
#endif
#ifdef HALVORA_SOURCE_RESOURCE_DIR
    folders.emplace_back(HALVORA_SOURCE_RESOURCE_DIR);
#endif
    return folders;
}

bool isFile(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

}  // namespace

ResourceBundle::ResourceBundle() : defaults_(defaultFolders()) {}

ResourceBundle& ResourceBundle::shared() {
    static ResourceBundle bundle;
    return bundle;
}

std::string ResourceBundle::fileName(const std::string& name, const std::string& type) {
    return type.empty() ? name : name + "." + type;
}

std::optional<std::filesystem::path> ResourceBundle::pathForResource(const std::string& name,
                                                                      const std::string& type) const {
    const std::string file = fileName(name, type);
    std::lock_guard lock(mutex_);
    if (auto it = overrides_.find(file); it != overrides_.end()) {
        if (isFile(it->second)) return it->second;
        return std::nullopt;  // a file set for this resource is not replaced by another
    }
    if (!folder_.empty() && isFile(folder_ / file)) return folder_ / file;
    for (const auto& folder : defaults_) {
        if (isFile(folder / file)) return folder / file;
    }
    return std::nullopt;
}

void ResourceBundle::setFolder(std::filesystem::path folder) {
    std::lock_guard lock(mutex_);
    folder_ = std::move(folder);
}

std::filesystem::path ResourceBundle::folder() const {
    std::lock_guard lock(mutex_);
    return folder_;
}

void ResourceBundle::setResourcePath(const std::string& name, const std::string& type, std::filesystem::path file) {
    std::lock_guard lock(mutex_);
    if (file.empty()) {
        overrides_.erase(fileName(name, type));
    } else {
        overrides_[fileName(name, type)] = std::move(file);
    }
}

std::vector<std::filesystem::path> ResourceBundle::searchFolders() const {
    std::lock_guard lock(mutex_);
    std::vector<std::filesystem::path> folders;
    if (!folder_.empty()) folders.push_back(folder_);
    folders.insert(folders.end(), defaults_.begin(), defaults_.end());
    return folders;
}

ResourceBundle& DriverContext::bundle() const {
    return resources ? *resources : ResourceBundle::shared();
}

}  // namespace halvora
