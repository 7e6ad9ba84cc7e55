#include "halvora/Core/Log.hpp"

#include <syslog.h>

#include <cstdarg>

#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

void writeToSyslog(const std::string& line) {
    ::syslog(LOG_USER | LOG_INFO, "%s", line.c_str());
}

}  // namespace

Log::Log(Sink sink) { setSink(std::move(sink)); }

std::shared_ptr<Log> Log::makeSilent() {
    auto log = std::make_shared<Log>();
    log->silence();
    return log;
}

Log& Log::shared() {
    static Log log;
    return log;
}

void Log::silence() {
    std::lock_guard lock(mutex_);
    sink_ = nullptr;
    silent_ = true;
}

void Log::setSink(Sink sink) {
    std::lock_guard lock(mutex_);
    sink_ = sink ? std::make_shared<Sink>(std::move(sink)) : nullptr;
    silent_ = false;
}

void Log::write(const std::string& line) const {
    if (isSilent()) return;
    std::lock_guard lock(mutex_);
    if (sink_) {
        (*sink_)(line);
    } else {
        writeToSyslog(line);
    }
}

void Log::writef(const char* fmt, ...) const {
    if (isSilent()) return;
    va_list args;
    va_start(args, fmt);
    std::string line = vformat(fmt, args);
    va_end(args);
    write(line);
}

}  // namespace halvora
