// The lab file reader of the halvora tool: any text is either a lab (every device of it is then built from
// its script) or a one-line error; nothing else may come out of it.
#include "CliError.hpp"
#include "LabCatalog.hpp"
#include "LabFile.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        auto description = halvora::cli::LabDescription::fromText(text, "fuzz.json");
        for (const auto& entry : description.devices) {
            const auto* labClass = halvora::cli::LabCatalog::find(entry.className);
            if (labClass) (void)labClass->make(entry);
        }
    } catch (const halvora::cli::CliError&) {
        // A bad lab file is reported to the user as one line: the expected outcome.
    }
    return 0;
}
