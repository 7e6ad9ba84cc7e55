#pragma once

namespace halvora {

/// Application delegate of its device kind. Every callback has an empty default body.
class HalvoraWeightScaleDelegate {
public:
    virtual ~HalvoraWeightScaleDelegate() = default;
};

}  // namespace halvora
