#pragma once

namespace halvora {

/// Application delegate of its device kind. Every callback has an empty default body.
class HalvoraBabyThermometerDelegate {
public:
    virtual ~HalvoraBabyThermometerDelegate() = default;
};

}  // namespace halvora
