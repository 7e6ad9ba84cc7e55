#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "halvora/Core/Log.hpp"

struct stat;

namespace halvora {

/// The few values the kit keeps across launches: the remembered bracelet, the central's restore identifier
/// and the user's body data for the weight scale's and the bracelets' estimates.
///
/// Storage: one text file per user (see `defaultPath`), mode 0600 in a folder created with mode 0700. Every
/// setter rewrites the whole file atomically before it returns: it takes an advisory lock (`flock`) on the
/// side file `<file>.lock`, reads the current file, changes its one key, writes a temporary file
/// `<file>.tmp.XXXXXX` in the same folder, syncs it, renames it over the file and syncs the folder. A crash
/// at any moment therefore leaves the old file or the new one, never a mix; temporaries left behind by a
/// crashed writer are removed by the next setter that writes. Because each setter re-reads under the lock,
/// setters in several processes (and several stores on one file) keep each other's keys. A setter whose value
/// the file already holds leaves the file untouched, and takes no lock when the file is as last read.
///
/// Reading: getters serve from a copy of the file that is checked against the file's identity (device,
/// inode, size, modification and change time) on every call and re-read when any of them changed; a value
/// that another process has written is therefore seen by the next getter. (An in-place edit by another
/// tool that keeps the size and lands in the same timestamp tick can go unseen until the next change.)
///
/// Failures never escape: a missing file means the defaults, silently; an unreadable or corrupt file (or
/// one larger than 1 MiB) means the defaults and one log line for the life of the store; a setter that
/// cannot write logs a line and leaves the file as it was. A setter that finds the file corrupt replaces it
/// with one holding just its key. Keys this class does not know are kept on rewrite.
///
/// File format, one entry per line, texts escaped (`\\` for a backslash, `\n`, `\r` and `\0`):
///
///     HalvoraSDK preferences 1
///     <tag> <key> <value>        tag: s text, i 64-bit integer, d double (shortest round-trip form)
///     end
///
/// Safe to call from any thread: one mutex per store guards its copy and its writes.
class PreferenceUtils {
public:
    /// A stored value: text, 64-bit integer or double, as the file's tags s, i and d say.
    using Value = std::variant<std::string, std::int64_t, double>;

    /// The central's restore identifier, text.
    static constexpr const char* kCentralUUIDKey = "halvora_central_uuid";
    /// The remembered bracelet's peripheral identifier, text; reconnected without a scan.
    static constexpr const char* kBraceletUUIDKey = "halvora_bracelet_uuid";
    /// A bracelet identifier the application may keep here; the kit itself neither writes nor reads it.
    static constexpr const char* kBraceletIdKey = "halvora_bracelet_id";
    /// Shared by the bracelet's user height and the weight scale's height.
    static constexpr const char* kHeightKey = "halvora_bracelet_height";
    /// The user's weight, kilograms; used by the bracelets' calorie and distance estimates.
    static constexpr const char* kWeightKey = "halvora_bracelet_weight";
    /// The weight scale's unit, text: "kg" or "lb".
    static constexpr const char* kWeightUnitKey = "halvora_weight_unit";
    /// The user's sex for the weight scale's estimates, integer: 0 male, any other value female.
    static constexpr const char* kWeightGenderKey = "halvora_weight_gender";
    /// The user's age in years for the weight scale's estimates, integer.
    static constexpr const char* kWeightAgeKey = "halvora_weight_age";

    /// Height in centimetres when none is stored.
    static constexpr std::int64_t kDefaultHeight = 175;
    /// Weight unit when none is stored.
    static constexpr const char* kDefaultWeightUnit = "kg";
    /// Gender when none is stored.
    static constexpr std::int32_t kDefaultWeightGender = 0;
    /// Age in years when none is stored.
    static constexpr std::int32_t kDefaultWeightAge = 30;

    /// A store kept in `file`; `log` (nullable) receives the problem lines and must outlive the store.
    explicit PreferenceUtils(std::filesystem::path file, Log* log = &Log::shared());
    PreferenceUtils(const PreferenceUtils&) = delete;
    PreferenceUtils& operator=(const PreferenceUtils&) = delete;

    /// $HALVORA_PREFERENCES if set and not empty; else $XDG_CONFIG_HOME/halvora/preferences if that is an
    /// absolute path; else `<home>/.config/halvora/preferences`, home being $HOME or the user's entry in the
    /// password database (the current folder when neither is known).
    static std::filesystem::path defaultPath();
    /// The process-wide store the kit uses, kept at `setSharedPath`'s path or else `defaultPath()`.
    static std::shared_ptr<PreferenceUtils> shared();
    /// Moves the process-wide store to `file`; meant to be called before first use. Holders of the
    /// previous shared store keep it; later calls of `shared()` get a store on the new file.
    static void setSharedPath(std::filesystem::path file);

    /// The file this store keeps its values in.
    const std::filesystem::path& path() const;

    // Setters: nothing removes the key.
    /// The central's restore identifier.
    void setCentralUUID(std::optional<std::string> uuid);
    /// The remembered bracelet's peripheral identifier; nothing forgets the bracelet.
    void setBraceletUUID(std::optional<std::string> uuid);
    /// An application-defined bracelet identifier, stored as given.
    void setBraceletId(std::optional<Value> identifier);
    /// Centimetres; the same key as `setWeightHeight`.
    void setUserHeight(std::optional<std::int64_t> height);
    /// Centimetres; the same key as `setUserHeight`.
    void setWeightHeight(std::optional<std::int64_t> height);
    /// Kilograms.
    void setUserWeight(std::optional<double> weight);
    /// The weight scale's unit, "kg" or "lb" ("kg" when unset).
    void setWeightUnit(std::optional<std::string> unit);
    /// The user's sex for the weight scale: 0 male, any other value female.
    void setWeightGender(std::int32_t gender);
    /// Years.
    void setWeightAge(std::int32_t age);

    // Getters. A value stored with another type counts as absent, except that numbers convert between
    // integer and floating point (a floating value is truncated toward zero; one out of range is absent).
    /// The central's restore identifier; absent when none is stored.
    std::optional<std::string> getCentralUUID() const;
    /// The remembered bracelet's identifier; absent when no bracelet is remembered.
    std::optional<std::string> getBraceletUUID() const;
    /// The application-defined bracelet identifier, as stored; absent when none is.
    std::optional<Value> getBraceletId() const;
    /// Default 175.
    std::int64_t getUserHeight() const;
    /// Default 175 (the same key as `getUserHeight`).
    std::int64_t getWeightHeight() const;
    /// Kilograms; absent when none is stored (there is no default).
    std::optional<double> getUserWeight() const;
    /// Default "kg".
    std::string getWeightUnit() const;
    /// Default 0.
    std::int32_t getWeightGender() const;
    /// Default 30.
    std::int32_t getWeightAge() const;

    /// What the weight scale is told about its user, with the getters' defaults.
    struct WeightProfile {
        std::string unit = kDefaultWeightUnit;           ///< "kg" or "lb"
        std::int32_t gender = kDefaultWeightGender;      ///< 0 male, any other value female
        std::int32_t age = kDefaultWeightAge;            ///< years
        std::int64_t height = kDefaultHeight;            ///< centimetres
    };
    /// The weight unit, sex, age and height read together, from one version of the file (one look at the
    /// file instead of four).
    WeightProfile getWeightProfile() const;
    /// Stores the four values in one rewrite of the file: a reader sees all of them or none.
    void setWeightProfile(const WeightProfile& user);

private:
    using Entries = std::map<std::string, Value>;
    using Change = std::pair<std::string, std::optional<Value>>;
    using Changes = std::vector<Change>;

    /// What identifies one version of the file on disk.
    struct FileIdentity {
        bool exists = false;
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        std::int64_t size = 0;
        std::int64_t modifiedNs = 0;
        std::int64_t changedNs = 0;
        bool operator==(const FileIdentity&) const = default;
    };

    static FileIdentity identityOf(const struct ::stat& status);

    std::optional<Value> read(const std::string& key) const;
    std::optional<std::int64_t> readInteger(const std::string& key) const;
    std::optional<std::string> readText(const std::string& key) const;
    void write(const std::string& key, std::optional<Value> value);
    /// Applies every change (a value set, or the key removed when absent) in one rewrite of the file.
    void write(Changes changes);

    /// The file's entries, from the copy when the file is unchanged. Caller holds `mutex_`.
    const Entries& currentEntriesLocked() const;
    /// Reads and parses the file now; defaults (and a reported problem) when it cannot be used.
    Entries loadLocked(FileIdentity& identity) const;
    /// Reads and parses the file now; absent when it is missing or cannot be used (a problem is reported).
    std::optional<Entries> readLocked(FileIdentity& identity) const;
    /// Whether `entries` already hold every change (a removal: no such key).
    static bool holds(const Entries& entries, const Changes& changes);
    /// Whether the copy of the file holds every change, each a value set (not a removal), and the file is
    /// still the one copied. Caller holds `mutex_`.
    bool copyHoldsLocked(const Changes& changes) const;
    void saveLocked(const Entries& entries);
    void reportProblemOnce(const std::string& line) const;
    void logLine(const std::string& line) const;

    std::filesystem::path file_;
    Log* log_;
    mutable std::mutex mutex_;
    mutable std::optional<FileIdentity> cachedIdentity_;
    mutable Entries cachedEntries_;
    mutable bool problemReported_ = false;
};

}  // namespace halvora
