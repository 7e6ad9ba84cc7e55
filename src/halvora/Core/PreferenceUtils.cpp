#include "halvora/Core/PreferenceUtils.hpp"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <system_error>
#include <vector>

#include "halvora/Core/internal/PreferencesFile.hpp"
#include "halvora/Core/internal/PreferencesFormat.hpp"

namespace halvora {

namespace {

constexpr std::size_t kMaxFileSize = std::size_t{1024} * 1024;
constexpr const char* kPathVariable = "HALVORA_PREFERENCES";
constexpr const char* kConfigHomeVariable = "XDG_CONFIG_HOME";
constexpr const char* kHomeVariable = "HOME";
constexpr const char* kAppFolder = "halvora";
constexpr const char* kFileName = "preferences";
constexpr const char* kConfigFolder = ".config";
constexpr const char* kLockSuffix = ".lock";

struct SharedStore {
    std::mutex mutex;
    std::optional<std::filesystem::path> path;
    std::shared_ptr<PreferenceUtils> store;
};

SharedStore& sharedStore() {
    static SharedStore shared;
    return shared;
}

std::string errorText(int error) {
    return std::error_code(error, std::generic_category()).message();
}

const char* nonEmptyVariable(const char* name) {
    const char* value = std::getenv(name);
    return (value != nullptr && *value != '\0') ? value : nullptr;
}

std::filesystem::path homeFolder() {
    if (const char* home = nonEmptyVariable(kHomeVariable)) return home;
    std::vector<char> buffer(16384);
    struct passwd entry {};
    struct passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr && *found->pw_dir != '\0') {
        return found->pw_dir;
    }
    return ".";
}

std::int64_t nanoseconds(const struct timespec& time) {
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

std::optional<std::int64_t> asInteger(const PreferenceUtils::Value& value) {
    if (const auto* integer = std::get_if<std::int64_t>(&value)) return *integer;
    if (const auto* number = std::get_if<double>(&value)) {
        // The range check is written so that NaN fails it too.
        constexpr double kLimit = 9223372036854775808.0;  // 2^63
        if (*number > -kLimit && *number < kLimit) return static_cast<std::int64_t>(std::trunc(*number));
    }
    return std::nullopt;
}

std::optional<std::int32_t> asInt32(std::optional<std::int64_t> value) {
    if (!value || *value < std::numeric_limits<std::int32_t>::min() ||
        *value > std::numeric_limits<std::int32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(*value);
}

using Entries = std::map<std::string, PreferenceUtils::Value>;

const PreferenceUtils::Value* valueIn(const Entries& entries, const std::string& key) {
    const auto found = entries.find(key);
    return found == entries.end() ? nullptr : &found->second;
}

std::optional<std::int64_t> integerIn(const Entries& entries, const std::string& key) {
    const PreferenceUtils::Value* value = valueIn(entries, key);
    return value != nullptr ? asInteger(*value) : std::nullopt;
}

std::optional<std::string> textIn(const Entries& entries, const std::string& key) {
    const PreferenceUtils::Value* value = valueIn(entries, key);
    if (value == nullptr) return std::nullopt;
    if (const auto* text = std::get_if<std::string>(value)) return *text;
    return std::nullopt;
}

}  // namespace

PreferenceUtils::FileIdentity PreferenceUtils::identityOf(const struct ::stat& status) {
    return FileIdentity{true,
                        static_cast<std::uint64_t>(status.st_dev),
                        static_cast<std::uint64_t>(status.st_ino),
                        static_cast<std::int64_t>(status.st_size),
                        nanoseconds(status.st_mtim),
                        nanoseconds(status.st_ctim)};
}

PreferenceUtils::PreferenceUtils(std::filesystem::path file, Log* log) : file_(std::move(file)), log_(log) {}

std::filesystem::path PreferenceUtils::defaultPath() {
    if (const char* explicitPath = nonEmptyVariable(kPathVariable)) return explicitPath;
    if (const char* configHome = nonEmptyVariable(kConfigHomeVariable); configHome != nullptr && *configHome == '/') {
        return std::filesystem::path(configHome) / kAppFolder / kFileName;
    }
    return homeFolder() / kConfigFolder / kAppFolder / kFileName;
}

std::shared_ptr<PreferenceUtils> PreferenceUtils::shared() {
    SharedStore& shared = sharedStore();
    std::lock_guard lock(shared.mutex);
    if (!shared.store) shared.store = std::make_shared<PreferenceUtils>(shared.path.value_or(defaultPath()));
    return shared.store;
}

void PreferenceUtils::setSharedPath(std::filesystem::path file) {
    SharedStore& shared = sharedStore();
    std::lock_guard lock(shared.mutex);
    if (shared.store && shared.store->path() != file) shared.store.reset();
    shared.path = std::move(file);
}

const std::filesystem::path& PreferenceUtils::path() const {
    return file_;
}

// ---------------------------------------------------------------- typed operations

void PreferenceUtils::setCentralUUID(std::optional<std::string> uuid) {
    write(kCentralUUIDKey, std::move(uuid));
}

std::optional<std::string> PreferenceUtils::getCentralUUID() const {
    return readText(kCentralUUIDKey);
}

void PreferenceUtils::setBraceletUUID(std::optional<std::string> uuid) {
    write(kBraceletUUIDKey, std::move(uuid));
}

std::optional<std::string> PreferenceUtils::getBraceletUUID() const {
    return readText(kBraceletUUIDKey);
}

void PreferenceUtils::setBraceletId(std::optional<Value> identifier) {
    write(kBraceletIdKey, std::move(identifier));
}

std::optional<PreferenceUtils::Value> PreferenceUtils::getBraceletId() const {
    return read(kBraceletIdKey);
}

void PreferenceUtils::setUserHeight(std::optional<std::int64_t> height) {
    write(kHeightKey, height);
}

std::int64_t PreferenceUtils::getUserHeight() const {
    return readInteger(kHeightKey).value_or(kDefaultHeight);
}

void PreferenceUtils::setWeightHeight(std::optional<std::int64_t> height) {
    write(kHeightKey, height);
}

std::int64_t PreferenceUtils::getWeightHeight() const {
    return readInteger(kHeightKey).value_or(kDefaultHeight);
}

void PreferenceUtils::setUserWeight(std::optional<double> weight) {
    write(kWeightKey, weight);
}

std::optional<double> PreferenceUtils::getUserWeight() const {
    const std::optional<Value> value = read(kWeightKey);
    if (!value) return std::nullopt;
    if (const auto* number = std::get_if<double>(&*value)) return *number;
    if (const auto* integer = std::get_if<std::int64_t>(&*value)) return static_cast<double>(*integer);
    return std::nullopt;
}

void PreferenceUtils::setWeightUnit(std::optional<std::string> unit) {
    write(kWeightUnitKey, std::move(unit));
}

std::string PreferenceUtils::getWeightUnit() const {
    return getWeightProfile().unit;
}

void PreferenceUtils::setWeightGender(std::int32_t gender) {
    write(kWeightGenderKey, std::int64_t{gender});
}

std::int32_t PreferenceUtils::getWeightGender() const {
    return getWeightProfile().gender;
}

void PreferenceUtils::setWeightAge(std::int32_t age) {
    write(kWeightAgeKey, std::int64_t{age});
}

std::int32_t PreferenceUtils::getWeightAge() const {
    return getWeightProfile().age;
}

void PreferenceUtils::setWeightProfile(const WeightProfile& user) {
    write(Changes{{kWeightUnitKey, user.unit},
                  {kWeightGenderKey, std::int64_t{user.gender}},
                  {kWeightAgeKey, std::int64_t{user.age}},
                  {kHeightKey, user.height}});
}

PreferenceUtils::WeightProfile PreferenceUtils::getWeightProfile() const {
    std::lock_guard lock(mutex_);
    const Entries& entries = currentEntriesLocked();
    return WeightProfile{textIn(entries, kWeightUnitKey).value_or(kDefaultWeightUnit),
                         asInt32(integerIn(entries, kWeightGenderKey)).value_or(kDefaultWeightGender),
                         asInt32(integerIn(entries, kWeightAgeKey)).value_or(kDefaultWeightAge),
                         integerIn(entries, kHeightKey).value_or(kDefaultHeight)};
}

// ---------------------------------------------------------------- reading

std::optional<PreferenceUtils::Value> PreferenceUtils::read(const std::string& key) const {
    std::lock_guard lock(mutex_);
    const Value* value = valueIn(currentEntriesLocked(), key);
    return value != nullptr ? std::optional<Value>(*value) : std::nullopt;
}

std::optional<std::int64_t> PreferenceUtils::readInteger(const std::string& key) const {
    std::lock_guard lock(mutex_);
    return integerIn(currentEntriesLocked(), key);
}

std::optional<std::string> PreferenceUtils::readText(const std::string& key) const {
    std::lock_guard lock(mutex_);
    return textIn(currentEntriesLocked(), key);
}

const PreferenceUtils::Entries& PreferenceUtils::currentEntriesLocked() const {
    struct stat status {};
    FileIdentity current;
    if (PreferencesFile::status(file_, status) == 0) {
        current = identityOf(status);
    }
    if (cachedIdentity_ && *cachedIdentity_ == current) return cachedEntries_;
    FileIdentity loaded;
    cachedEntries_ = loadLocked(loaded);
    cachedIdentity_ = loaded;
    return cachedEntries_;
}

PreferenceUtils::Entries PreferenceUtils::loadLocked(FileIdentity& identity) const {
    return readLocked(identity).value_or(Entries{});
}

std::optional<PreferenceUtils::Entries> PreferenceUtils::readLocked(FileIdentity& identity) const {
    identity = FileIdentity{};
    std::string text;
    struct stat status {};
    const int error = PreferencesFile::read(file_, kMaxFileSize, text, status);
    if (error == ENOENT) return std::nullopt;
    if (error != 0 && error != EFBIG) {
        // Remember the version that failed, so that it is tried again only once it changes.
        if (PreferencesFile::status(file_, status) == 0) identity = identityOf(status);
        reportProblemOnce("HalvoraSDK: preferences file " + file_.string() + " cannot be read (" + errorText(error) +
                          "); using defaults");
        return std::nullopt;
    }
    identity = identityOf(status);
    std::optional<Entries> entries = error == 0 ? PreferencesFormat::parse(text) : std::nullopt;
    if (!entries) {
        reportProblemOnce("HalvoraSDK: preferences file " + file_.string() + " is corrupt; using defaults");
    }
    return entries;
}

bool PreferenceUtils::holds(const Entries& entries, const Changes& changes) {
    return std::all_of(changes.begin(), changes.end(), [&](const Change& change) {
        const auto found = entries.find(change.first);
        if (!change.second) return found == entries.end();
        return found != entries.end() && found->second == *change.second;
    });
}

// ---------------------------------------------------------------- writing

void PreferenceUtils::write(const std::string& key, std::optional<Value> value) {
    write(Changes{{key, std::move(value)}});
}

void PreferenceUtils::write(Changes changes) {
    std::lock_guard lock(mutex_);
    // The file as last read holds the values already: no lock to take, nothing to write (a bracelet stores
    // the same identifier on every connection).
    if (copyHoldsLocked(changes)) return;
    if (const int error = PreferencesFile::createFolder(PreferencesFile::folderOf(file_)); error != 0) {
        logLine("HalvoraSDK: cannot create the folder of preferences file " + file_.string() + " (" + errorText(error) +
                ")");
        return;
    }
    const int lockDescriptor = PreferencesFile::lock(file_.string() + kLockSuffix);
    if (lockDescriptor < 0) {
        logLine("HalvoraSDK: cannot lock preferences file " + file_.string() + " (" + errorText(-lockDescriptor) + ")");
        return;
    }
    // Under the lock: start from what is on disk now, so that keys other writers saved are kept.
    FileIdentity identity;
    const std::optional<Entries> stored = readLocked(identity);
    if (stored && holds(*stored, changes)) {
        // Already stored: the file stays as it is (a bracelet's reconnection stores the same identifier).
        cachedEntries_ = *stored;
        cachedIdentity_ = identity;
        PreferencesFile::unlock(lockDescriptor);
        return;
    }
    Entries entries = stored.value_or(Entries{});
    for (auto& [key, value] : changes) {
        if (value) {
            entries.insert_or_assign(key, std::move(*value));
        } else {
            entries.erase(key);
        }
    }
    PreferencesFile::removeTemporaries(file_);
    saveLocked(entries);
    PreferencesFile::unlock(lockDescriptor);
}

bool PreferenceUtils::copyHoldsLocked(const Changes& changes) const {
    // A removal always takes the long way: it also repairs a corrupt file, which reads as holding nothing.
    const bool setsOnly = std::all_of(changes.begin(), changes.end(), [](const Change& change) { return change.second; });
    if (!setsOnly || !cachedIdentity_) return false;
    struct stat status {};
    if (PreferencesFile::status(file_, status) != 0 || !(identityOf(status) == *cachedIdentity_)) return false;
    return holds(cachedEntries_, changes);
}

void PreferenceUtils::saveLocked(const Entries& entries) {
    cachedIdentity_.reset();
    if (const int error = PreferencesFile::replace(file_, PreferencesFormat::serialize(entries)); error != 0) {
        logLine("HalvoraSDK: cannot save preferences file " + file_.string() + " (" + errorText(error) + ")");
        return;
    }
    struct stat status {};
    if (PreferencesFile::status(file_, status) == 0) {
        cachedEntries_ = entries;
        cachedIdentity_ = identityOf(status);
    }
}

void PreferenceUtils::reportProblemOnce(const std::string& line) const {
    if (problemReported_) return;
    problemReported_ = true;
    logLine(line);
}

void PreferenceUtils::logLine(const std::string& line) const {
    if (log_ != nullptr) log_->write(line);
}

}  // namespace halvora
