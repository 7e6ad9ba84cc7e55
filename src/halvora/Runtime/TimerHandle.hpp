#pragma once

namespace halvora {

/// A scheduled timer or delayed call that can be invalidated. Invalidating is idempotent and safe from any
/// thread; a call that already started runs to its end.
class TimerHandle {
public:
    virtual ~TimerHandle() = default;
    /// Cancels every later run; a run already under way is not interrupted.
    virtual void invalidate() = 0;
    /// False once invalidated (and, for a one-shot call, once it has run).
    virtual bool isValid() const = 0;
};

}  // namespace halvora
