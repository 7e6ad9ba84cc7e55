#pragma once

#include <cstddef>
#include <string>

namespace halvora {

/// What FileOperations reports while it loads a firmware file and writes its image (the update engine
/// receives it). Every method has an empty default. Calls arrive on the thread that called FileOperations
/// (the callback queue, "halvora.cb").
class FileOperationsDelegate {
public:
    virtual ~FileOperationsDelegate() = default;
    /// The file was loaded and converted; `fileSize` is the image's size in bytes (0 for a file with no image).
    virtual void onFileOpened(std::size_t /*fileSize*/) {}
    /// A packet other than the last was written; `percentage` (0..99) is the share of the image before it.
    virtual void onTransferPercentage(int /*percentage*/) {}
    /// The last packet was written.
    virtual void onAllPacketsTranferred() {}
    /// The file could not be loaded ("Error on openning file\n Message: file is empty or not exist").
    virtual void onError(const std::string& /*message*/) {}
};

}  // namespace halvora
