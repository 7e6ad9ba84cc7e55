#pragma once

namespace halvora {

/// Application delegate of its device kind. Every callback has an empty default body.
class HalvoraThermometerDelegate {
public:
    virtual ~HalvoraThermometerDelegate() = default;
};

}  // namespace halvora
