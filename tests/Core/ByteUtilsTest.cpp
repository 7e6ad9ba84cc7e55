#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "halvora/Core/ByteUtils.hpp"
#include "halvora/Core/FloatToBits.hpp"
#include "halvora/Core/Log.hpp"

namespace halvora {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(ByteUtilsIntegers, FixedWidthReadsAreBigOrLittleEndianAndPadShortInputWithZeros) {
    struct Case {
        Bytes bytes;
        std::uint32_t bigEndian;
        std::uint32_t littleEndian;
    };
    const std::vector<Case> cases = {
        {{0x12, 0x34, 0x56, 0x78}, 0x12345678U, 0x78563412U},
        {{0xFF, 0x00, 0x00, 0x01, 0xEE}, 0xFF000001U, 0x010000FFU},  // a fifth byte is not read
        {{0x12, 0x34}, 0x12340000U, 0x00003412U},
        {{}, 0U, 0U},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ByteUtils::bytesToInt(c.bytes), c.bigEndian);
        EXPECT_EQ(ByteUtils::bytesToIntLittleIndian(c.bytes), c.littleEndian);
    }
}

TEST(ByteUtilsIntegers, WritesFourByteBlocksInBothOrders) {
    EXPECT_EQ(ByteUtils::intToBytes(-2), (Bytes{0xFF, 0xFF, 0xFF, 0xFE}));
    EXPECT_EQ(ByteUtils::intToBytes(0x01020304), (Bytes{0x01, 0x02, 0x03, 0x04}));
    EXPECT_EQ(ByteUtils::intToBytesLittleIndian(0x01020304U), (Bytes{0x04, 0x03, 0x02, 0x01}));
    EXPECT_EQ(ByteUtils::prepareByteArray(3), (Bytes{0, 0, 0}));
    EXPECT_TRUE(ByteUtils::prepareByteArray(-5).empty());
    EXPECT_EQ(ByteUtils::charToInt(-1), 255);
}

TEST(ByteUtilsIntegers, ZeroTerminatedReadsStopAtZeroByteSpanEndOrFourBytes) {
    struct Case {
        Bytes bytes;
        std::uint32_t value;
    };
    const std::vector<Case> cases = {
        {{0x05, 0x01, 0x00}, 261},
        {{0x00, 0x12}, 0},
        {{0x12, 0x34, 0x00}, 0x3412},
        {{0x12, 0x34}, 0x3412},  // no terminator: the span's end ends the number
        {{0xFF}, 0xFF},          // no sign extension
        {{0x01, 0x02, 0x03, 0x84, 0x05}, 0x84030201U},
        {{}, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ByteUtils::byteArrayToInt(c.bytes), c.value);
        EXPECT_EQ(ByteUtils::byteArrayToIntSigned(c.bytes), static_cast<std::int32_t>(c.value));
    }
}

TEST(ByteUtilsIntegers, Int16ReadDependsOnZeroTerminatedLength) {
    struct Case {
        Bytes bytes;
        std::int16_t value;
    };
    const std::vector<Case> cases = {
        {{0xFF, 0xFE, 0x00}, -2}, {{0x00, 0x05}, 0}, {{0x07, 0x00, 0x09}, 7}, {{0x80}, 128},
        {{0x12, 0x34}, 0x1234},   {{}, 0},
    };
    for (const Case& c : cases) EXPECT_EQ(ByteUtils::bytesToInt16(c.bytes), c.value);
}

TEST(ByteUtilsBcd, PacksDecimalDigitsIntoNibbles) {
    EXPECT_EQ(ByteUtils::decToBCD(59), 0x59);
    EXPECT_EQ(ByteUtils::decToBCD(1234), 0x1234);
    EXPECT_EQ(ByteUtils::decToBCD(0), 0);
    EXPECT_EQ(ByteUtils::decToBCD(-7), 0);
    EXPECT_EQ(ByteUtils::bcdToDec(0x59), 59);
    for (std::int32_t v = 0; v < 100; ++v) EXPECT_EQ(ByteUtils::bcdToDec(ByteUtils::decToBCD(v)), v) << v;
}

TEST(ByteUtilsHex, DecimalToHexIsUpperCaseWithAtLeastTwoDigits) {
    const std::vector<std::pair<std::uint32_t, std::string>> cases = {
        {0, "00"}, {5, "05"}, {10, "0A"}, {255, "FF"}, {4096, "1000"}, {0xFFFFFFFFU, "FFFFFFFF"}};
    for (const auto& [value, text] : cases) EXPECT_EQ(ByteUtils::decimalToHex(value), text);
}

TEST(ByteUtilsHex, ByteListsAndMacAddresses) {
    EXPECT_EQ(ByteUtils::nsdataToHex(Bytes{0x0A, 0xFF, 0x00}), (std::vector<std::string>{"0a", "ff", "00"}));
    EXPECT_TRUE(ByteUtils::nsdataToHex(Bytes{}).empty());
    EXPECT_EQ(ByteUtils::byteArrayToMAC(Bytes{0xC0, 0x1a, 0x02, 0xFF, 0x80, 0x09, 0x77}), "C0:1A:02:FF:80:09");
    EXPECT_EQ(ByteUtils::byteArrayToMAC(Bytes{0x12}), "12:00:00:00:00:00");
}

TEST(ByteUtilsHex, ScanHexStringTrimsEndsAndRejectsOddOrBrokenDigits) {
    EXPECT_EQ(ByteUtils::scanHexString("<0a1Bff>"), (Bytes{0x0A, 0x1B, 0xFF}));
    EXPECT_EQ(ByteUtils::scanHexString(""), Bytes{});
    EXPECT_EQ(ByteUtils::scanHexString(" <> "), Bytes{});
    EXPECT_EQ(ByteUtils::scanHexString("abc"), std::nullopt);
    EXPECT_EQ(ByteUtils::scanHexString("0a zz 0b"), std::nullopt);
    EXPECT_EQ(ByteUtils::dataFromArrayHex({"0a", "1B", "ff"}), (Bytes{0x0A, 0x1B, 0xFF}));
    EXPECT_EQ(ByteUtils::dataFromArrayHex({"0a", "1"}), std::nullopt);
}

TEST(ByteUtilsHex, StringFromHexStringMakesOneCharacterPerPair) {
    EXPECT_EQ(ByteUtils::stringFromHexString("48656c6C6f"), "Hello");
    EXPECT_EQ(ByteUtils::stringFromHexString("e9"), "\xC3\xA9");  // U+00E9 as UTF-8
    EXPECT_EQ(ByteUtils::stringFromHexString("4100"), std::string("A\0", 2));
    EXPECT_EQ(ByteUtils::stringFromHexString("486"), std::nullopt);
    EXPECT_EQ(ByteUtils::stringFromHexString("zz"), std::nullopt);
}

TEST(ByteUtilsHex, ByteArrayToStringDecodesUtf8WithinTheSpanAndLogsIt) {
    std::vector<std::string> lines;
    Log::shared().setSink([&lines](const std::string& line) { lines.push_back(line); });
    const Bytes bytes = {'H', 'i', 0xC3, 0xA9, '!'};
    EXPECT_EQ(ByteUtils::byteArrayToString(bytes, 4), "Hi\xC3\xA9");
    EXPECT_EQ(ByteUtils::byteArrayToString(bytes, 100), "Hi\xC3\xA9!");
    EXPECT_EQ(ByteUtils::byteArrayToString(bytes, 3), std::nullopt);  // cuts the two-byte character
    EXPECT_EQ(ByteUtils::byteArrayToString(bytes, -1), "");
    Log::shared().silence();
    EXPECT_EQ(lines, (std::vector<std::string>{"Hi\xC3\xA9", "Hi\xC3\xA9!", ""}));
}

TEST(ByteUtilsBinary, DecimalToBinaryPadsButNeverCuts) {
    EXPECT_EQ(ByteUtils::decimalToBinary(5, 8), "00000101");
    EXPECT_EQ(ByteUtils::decimalToBinary(300, 4), "100101100");
    EXPECT_EQ(ByteUtils::decimalToBinary(0, 3), "000");
    EXPECT_EQ(ByteUtils::decimalToBinary(0, 0), "");
    EXPECT_EQ(ByteUtils::decimalToBinary(-1, 0), std::string(32, '1'));
}

TEST(ByteUtilsBinary, DecToBinaryKeepsTheLastEightDigits) {
    EXPECT_EQ(ByteUtils::decToBinary(300, 8), "00101100");
    EXPECT_EQ(ByteUtils::decToBinary(5, 8), "00000101");
    EXPECT_EQ(ByteUtils::decToBinary(0xFFFFFFFFFFFFFFFFULL, 8), "11111111");
    EXPECT_EQ(ByteUtils::decToBinary(5, 4), "0101");
}

TEST(ByteUtilsBinary, BinaryToDecimalWeighsEveryCharacterFromTheRight) {
    EXPECT_EQ(ByteUtils::binaryToDecimal("101"), 5);
    EXPECT_EQ(ByteUtils::binaryToDecimal("21"), 5);                        // '2' counts as 2, weighted by 2
    EXPECT_EQ(ByteUtils::binaryToDecimal("/"), -1);                        // '/' is code 47
    EXPECT_EQ(ByteUtils::binaryToDecimal("1" + std::string(64, '0')), 0);  // past the 64th place adds nothing
    EXPECT_EQ(ByteUtils::binaryToDecimal("0011010", 2, 3), 6);
    EXPECT_EQ(ByteUtils::binaryToDecimal("0011010", 5, 10), 2);  // clipped to "10"
    EXPECT_EQ(ByteUtils::binaryToDecimal("0011010", 9, 2), 0);
}

TEST(ByteUtilsBinary, SubstringIsEmptyWhenTheRangeRunsPastTheEnd) {
    EXPECT_EQ(ByteUtils::substringBinary("10110", 1, 3), "011");
    EXPECT_EQ(ByteUtils::substringBinary("10110", 3, 3), "");
    EXPECT_EQ(ByteUtils::substringBinary("10110", -1, 2), "");
}

TEST(ByteUtilsBinary, HexAndBinaryTextsConvertBothWays) {
    EXPECT_EQ(ByteUtils::hexTtoBinary("aF"), "10101111");
    EXPECT_EQ(ByteUtils::hexTtoBinary("0x1"), "00000001");  // 'x' is dropped
    EXPECT_EQ(ByteUtils::binaryToHex("1111"), "0F");
    EXPECT_EQ(ByteUtils::binaryToHex("100000000"), "100");
    EXPECT_EQ(ByteUtils::binaryToHex(""), "00");
    // 17 digits: "1000000000000000" and "1" are converted on their own.
    EXPECT_EQ(ByteUtils::binaryToHex("10000000000000001"), "800001");
    // How the pill box builds its frames: fixed-width fields joined, cut in bytes, each byte to hex.
    const std::string bits =
        ByteUtils::decimalToBinary(3, 4) + ByteUtils::decimalToBinary(10, 4) + ByteUtils::decimalToBinary(1, 8);
    EXPECT_EQ(ByteUtils::binaryToHex(ByteUtils::substringBinary(bits, 0, 8)) +
                  ByteUtils::binaryToHex(ByteUtils::substringBinary(bits, 8, 8)),
              "3A01");
}

TEST(ByteUtilsChecksum, SumsFromIndexTwoOrFromStartModulo256) {
    EXPECT_EQ(ByteUtils::checksum(Bytes{0xAA, 0x55, 0x01, 0x02}), "03");
    EXPECT_EQ(ByteUtils::checksum(Bytes{0xAA, 0x55, 0xFF, 0x02}), "01");
    EXPECT_EQ(ByteUtils::checksum(Bytes{0xAA, 0x55}), "00");
    EXPECT_EQ(ByteUtils::checksum(Bytes{}), "00");
    const Bytes frame = {0x10, 0x20, 0xF0, 0x30};
    EXPECT_EQ(ByteUtils::checksum(frame, 0), 0x50);
    EXPECT_EQ(ByteUtils::checksum(frame, 3), 0x30);
    EXPECT_EQ(ByteUtils::checksum(frame, 4), 0);
    EXPECT_EQ(ByteUtils::checksum(frame, -1), 0);
}

TEST(ByteUtilsFloat, FloatToBitsAndIeeeDecodingAgree) {
    EXPECT_EQ(floatToBits(1.0f), 0x3F800000U);
    EXPECT_EQ(floatToBits(-2.5f), 0xC0200000U);
    for (const float value : {1.0f, -2.5f, 36.6f, 1e-40f, -3.4e38f, 0.0f}) {
        EXPECT_EQ(
            ByteUtils::convertIEEE754ToFloat(ByteUtils::intToBytes(static_cast<std::int32_t>(floatToBits(value)))),
            static_cast<double>(value));
    }
}

TEST(ByteUtilsFloat, IeeeDecodingKeepsDenormalsAndDecodesExponent255AsANumber) {
    EXPECT_EQ(ByteUtils::convertIEEE754ToFloat(Bytes{0x00, 0x00, 0x00, 0x01}), std::ldexp(1.0, -149));
    EXPECT_EQ(ByteUtils::convertIEEE754ToFloat(Bytes{0x7F, 0x80, 0x00, 0x00}), std::ldexp(1.0, 128));
    EXPECT_EQ(ByteUtils::convertIEEE754ToFloat(Bytes{0xFF, 0xC0, 0x00, 0x00}), -std::ldexp(1.5, 128));
    EXPECT_EQ(ByteUtils::convertIEEE754ToFloat(Bytes{0x3F, 0x80}), 1.0);
}

TEST(ByteUtilsFloat, IbmEncodingOfKnownValues) {
    EXPECT_EQ(ByteUtils::convertIEEE754FloatToBytes(1.0f), (Bytes{0x41, 0x10, 0x00, 0x00}));
    EXPECT_EQ(ByteUtils::convertIEEE754FloatToBytes(-118.625f), (Bytes{0xC2, 0x76, 0xA0, 0x00}));
    EXPECT_EQ(ByteUtils::convertIEEE754FloatToBytes(0.25f), (Bytes{0x40, 0x40, 0x00, 0x00}));
    EXPECT_EQ(ByteUtils::convertIEEE754FloatToBytes(0.0f), (Bytes{0x00, 0x00, 0x00, 0x00}));
}

TEST(ByteUtilsFloat, IbmEncodingIsNormalisedAndLosesAtMostThreeBits) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> mantissa(-1.0f, 1.0f);
    std::uniform_int_distribution<int> exponent(-140, 120);
    for (int i = 0; i < 2000; ++i) {
        const float value = std::ldexp(mantissa(random), exponent(random));
        if (value == 0.0f) continue;
        const Bytes ibm = ByteUtils::convertIEEE754FloatToBytes(value);
        const std::uint32_t fraction = ByteUtils::bytesToInt(Bytes{0, ibm[1], ibm[2], ibm[3]});
        EXPECT_GE(fraction, 0x100000U) << value;  // the leading hex digit is not zero
        const double decoded = std::ldexp(static_cast<double>(fraction), 4 * ((ibm[0] & 0x7F) - 64) - 24);
        EXPECT_EQ((ibm[0] & 0x80) != 0, value < 0) << value;
        EXPECT_LE(std::fabs(std::fabs(value) - decoded), std::fabs(value) * std::ldexp(1.0, -20)) << value;
    }
}

}  // namespace
}  // namespace halvora
