#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "DFU/DFURig.hpp"
#include "halvora/DFU/FileOperations.hpp"

namespace halvora::test {
namespace {

class RecordingFileDelegate : public FileOperationsDelegate {
public:
    void onFileOpened(std::size_t size) override { events.push_back("opened " + std::to_string(size)); }
    void onTransferPercentage(int percentage) override { percentages.push_back(percentage); }
    void onAllPacketsTranferred() override { events.push_back("all"); }
    void onError(const std::string& message) override { events.push_back("error " + message); }
    std::vector<std::string> events;
    std::vector<int> percentages;
};

struct FileRig {
    explicit FileRig(const std::string& text) {
        std::ofstream(file, std::ios::binary) << text;
        peripheral->receiving = true;  // every packet write is image data
    }
    TempDir folder;
    std::filesystem::path file = folder.file("firmware.hex");
    std::shared_ptr<BootloaderPeripheral> peripheral = std::make_shared<BootloaderPeripheral>();
    RecordingFileDelegate delegate;
    FileOperations operations{&delegate, peripheral, peripheral->characteristic(Driver::sendCharacteristicUUID())};
};

// Image size -> packets and bytes in the last packet.
TEST(FileOperationsTest, PacketArithmetic) {
    const std::size_t cases[][3] = {{1, 1, 1}, {20, 1, 20}, {40, 2, 20}, {41, 3, 1}, {200, 10, 20}, {201, 11, 1}};
    for (const auto& [size, packets, last] : cases) {
        FileRig rig(imageText(pattern(size)));
        rig.operations.openFile(rig.file);
        EXPECT_EQ(rig.operations.numberOfPackets(), packets) << size;
        EXPECT_EQ(rig.operations.bytesInLastPacket(), last) << size;
        EXPECT_EQ(rig.operations.binFileData(), pattern(size));
        EXPECT_EQ(rig.delegate.events, std::vector<std::string>{"opened " + std::to_string(size)});
    }
}

// Bursts of at most 10 packets without response; the last packet ends the burst and is reported once the image
// is out; percentages are those of the image before each packet other than the last.
TEST(FileOperationsTest, BurstsWriteTheImageInOrder) {
    FileRig rig(imageText(pattern(255, 3)));
    rig.operations.openFile(rig.file);
    rig.delegate.events.clear();
    rig.operations.writeNextPacket();
    EXPECT_EQ(rig.peripheral->take(), packets(10));
    EXPECT_EQ(rig.operations.bytesSent(), 200u);
    EXPECT_TRUE(rig.delegate.events.empty());
    rig.operations.writeNextPacket();
    EXPECT_EQ(rig.peripheral->take(), packets(2, {"PK 15B"}));
    EXPECT_EQ(rig.delegate.events, std::vector<std::string>{"all"});
    EXPECT_EQ(rig.delegate.percentages, (std::vector<int>{0, 7, 15, 23, 31, 39, 47, 54, 62, 70, 78, 86}));
    EXPECT_EQ(rig.peripheral->image, pattern(255, 3));
    EXPECT_EQ(rig.operations.writingPacketNumber(), 13u);

    FileRig small(imageText(pattern(41)));
    small.operations.openFile(small.file);
    small.operations.writeNextPacket();
    EXPECT_EQ(small.peripheral->take(), (std::vector<std::string>{"PK 20B", "PK 20B", "PK 1B"}));
    EXPECT_EQ(small.delegate.percentages, (std::vector<int>{0, 48}));
}

// A file whose text holds no image is opened with size 0 and a reason; its bursts write nothing at all.
TEST(FileOperationsTest, EmptyImageWritesNothing) {
    FileRig rig(hexText({dataRecord(0x0800, pattern(16)), endRecord()}));
    rig.operations.openFile(rig.file);
    EXPECT_EQ(rig.operations.numberOfPackets(), 0u);
    EXPECT_EQ(rig.operations.conversionProblem(), "end of file (2 records, 1 data records below 0x1000 skipped)");
    rig.operations.writeNextPacket();
    rig.operations.writeNextPacket();
    EXPECT_TRUE(rig.peripheral->take().empty());
    EXPECT_EQ(rig.delegate.events, (std::vector<std::string>{"opened 0", "all", "all"}));
}

// A missing or empty file is an error, with the exact message.
TEST(FileOperationsTest, MissingOrEmptyFileIsAnError) {
    FileRig rig("");
    rig.operations.openFile(rig.file);
    rig.operations.openFile(rig.folder.file("absent.hex"));
    const std::string error = "error Error on openning file\n Message: file is empty or not exist";
    EXPECT_EQ(rig.delegate.events, (std::vector<std::string>{error, error}));
}

}  // namespace
}  // namespace halvora::test
