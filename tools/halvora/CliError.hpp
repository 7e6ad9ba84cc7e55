#pragma once

#include <stdexcept>
#include <string>

namespace halvora::cli {

/// Exit statuses of the tool.
enum ExitCode : int {
    ExitOk = 0,
    ExitFailure = 1,
    ExitBadArguments = 2,
    ExitNoDevice = 3,
    ExitDeviceError = 4,
    ExitTransportUnavailable = 5,
};

/// A failure that ends the command: a one-line reason and an exit status.
class CliError : public std::runtime_error {
public:
    CliError(ExitCode code, const std::string& reason) : std::runtime_error(reason), code_(code) {}
    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

}  // namespace halvora::cli
