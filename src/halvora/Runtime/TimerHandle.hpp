#pragma once

namespace halvora {

/// A scheduled timer or delayed call that can be invalidated. Invalidating is idempotent and safe from any
/// thread; a call that already started runs to its end.
class TimerHandle {
public:
    virtual ~TimerHandle() = default;
    virtual void invalidate() = 0;
    virtual bool isValid() const = 0;
};

}  // namespace halvora
