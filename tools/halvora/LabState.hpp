#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace halvora::cli {

/// Where the tool keeps what the lab's devices remember between runs: one folder per lab (the default lab,
/// or a lab file by its absolute path), one JSON file per device, named by the device's identifier. A
/// state without a folder keeps nothing.
///
/// The folder is `--lab-state DIR`, else $HALVORA_LAB_STATE, else $XDG_STATE_HOME/halvora/lab, else
/// ~/.local/state/halvora/lab; an empty value (option or variable) keeps nothing.
///
/// The tool sets the process's state once, before it builds its lab (current() keeps nothing until then, so
/// that code driving the commands in-process remembers nothing unless it asks to).
class LabState {
public:
    /// A state that keeps nothing.
    LabState() = default;
    /// The state of the lab `labFile` (absent: the default lab) under `folder` (absent: keeps nothing).
    LabState(std::optional<std::filesystem::path> folder, const std::optional<std::string>& labFile);

    /// The folder the option, the environment and the home folder give (see the class comment); absent when
    /// nothing is to be kept.
    static std::optional<std::filesystem::path> folderFrom(const std::optional<std::string>& option);

    /// The process's state (keeps nothing until set).
    static LabState current();
    /// Sets the process's state.
    static void setCurrent(LabState state);

    /// Whether anything is kept.
    bool keeps() const { return folder_.has_value(); }
    /// The folder of this lab's memories (absent when nothing is kept).
    std::optional<std::filesystem::path> labFolder() const;
    /// The memory file of the device `identifier` (absent when nothing is kept).
    std::optional<std::filesystem::path> memoryFile(const std::string& identifier) const;
    /// The text of the device's memory file; absent when nothing is kept or it has none.
    std::optional<std::string> read(const std::string& identifier) const;
    /// Replaces the device's memory file with `text`, atomically (a temporary file renamed over it); returns
    /// a one-line reason when it could not. Nothing happens when nothing is kept.
    std::optional<std::string> write(const std::string& identifier, const std::string& text) const;
    /// Deletes this lab's memories; returns how many device files there were. Throws CliError when the
    /// folder cannot be removed.
    std::size_t forget() const;

private:
    std::optional<std::filesystem::path> folder_;
    std::string labName_;
};

}  // namespace halvora::cli
