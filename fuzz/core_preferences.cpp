// The preferences file reader: any bytes on disk are read as the preferences of the next start.
#include <filesystem>
#include <fstream>

#include "halvora/Core/Log.hpp"
#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Core/internal/PreferencesFormat.hpp"
#include "support/DriverFuzzer.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    (void)halvora::PreferencesFormat::parse(text);

    static const auto file = std::filesystem::path(halvora::fuzz::scratchFolder()) / "preferences-reader";
    {
        std::ofstream out(file, std::ios::binary | std::ios::trunc);
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
    }
    const auto silent = halvora::Log::makeSilent();
    halvora::PreferenceUtils preferences(file, silent.get());
    (void)preferences.getCentralUUID();
    (void)preferences.getBraceletUUID();
    (void)preferences.getBraceletId();
    (void)preferences.getUserHeight();
    (void)preferences.getUserWeight();
    (void)preferences.getWeightUnit();
    (void)preferences.getWeightGender();
    (void)preferences.getWeightAge();
    (void)preferences.getWeightHeight();
    return 0;
}
