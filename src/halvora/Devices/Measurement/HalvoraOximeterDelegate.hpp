#pragma once

namespace halvora {

/// Application delegate of its device kind. Every callback has an empty default body.
class HalvoraOximeterDelegate {
public:
    virtual ~HalvoraOximeterDelegate() = default;
};

}  // namespace halvora
