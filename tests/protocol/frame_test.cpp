#include "devices/protocol/frame.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "devices/protocol/basOrvixNB1.h"
#include "tests/support/scripted_line.h"

namespace orvix {
namespace {

using tests::Bytes;

TEST(FrameTest, RequestBytes) {
    EXPECT_EQ(BuildFrame(5, Bytes("00 07"), ""), Bytes("1D 04 05 00 00 07 07 01 03"));
    EXPECT_EQ(BuildFrame(255, Bytes("0B 00"), "A"), Bytes("1D 05 FF 01 0B 00 41 4B FA 03"));
    EXPECT_EQ(BuildFrame(5, "", ""), Bytes("1D 02 05 00 00 07 03"));
    EXPECT_EQ(BuildFrame(0, "", ""), Bytes("1D 02 00 00 00 02 03"));
    EXPECT_EQ(BuildFrame(1, "ab", std::string(kMaxPayload, 'x')).size(), kMaxPayload + 9);
    EXPECT_THROW(BuildFrame(1, "ab", std::string(kMaxPayload + 1, 'x')), Error);
    EXPECT_THROW(BuildFrame(256, "ab", ""), Error);
    EXPECT_THROW(BuildFrame(-1, "ab", ""), Error);
}

TEST(FrameTest, RepliesAreCheckedInOrder) {
    struct Case {
        const char* what;
        const char* bytes;
        std::int32_t address;
        ErrorNumber error;
        const char* payload;
    };
    const Case cases[] = {
        {"payload", "1D 06 05 02 0B 00 41 42 0A 09 03", 5, errors::None, "AB"},
        {"outer checksum is not looked at", "1D 05 05 01 05 00 41 45 FF 03", 5, errors::None, "A"},
        {"extra bytes", "1D 04 05 00 00 07 07 01 03 FF", 5, errors::None, ""},
        {"inner bytes behind the checksum", "1D 05 05 00 00 07 07 FF 01 03", 5, errors::None, ""},
        {"reply from address 0", "1D 04 00 00 00 07 07 04 03", 5, errors::None, ""},
        {"request to address 0", "1D 04 07 00 00 07 07 03 03", 0, errors::None, ""},
        {"start byte", "1C 04 05 00 00 07 07 01 03", 5, errors::BadFrame, ""},
        {"end byte", "1D 04 05 00 00 07 07 01 04", 5, errors::BadFrame, ""},
        {"another address", "1D 05 06 01 07 00 C9 CF 03 03", 5, errors::BadFrame, ""},
        {"incomplete", "1D 04 05 00 00 07 07 01", 5, errors::BadFrame, ""},
        {"length 3", "1D 03 05 00 07 07 06 03", 5, errors::BadFrame, ""},
        {"refused", "1D 05 05 01 07 00 C9 CF 00 03", 5, errors::Refused, ""},
        {"refused before the checksum", "1D 05 05 09 07 00 C9 00 00 03", 5, errors::Refused, ""},
        {"code 00 C9 is no refusal", "1D 04 05 00 00 C9 C9 01 03", 5, errors::None, ""},
        {"payload beyond the packet", "1D 04 05 01 00 07 06 01 03", 5, errors::BadFrame, ""},
        {"inner checksum", "1D 05 05 01 05 00 41 44 00 03", 5, errors::Checksum, ""},
    };
    for (const Case& c : cases) {
        const Reply reply = CheckReply(Bytes(c.bytes), c.address);
        EXPECT_EQ(reply.error, c.error) << c.what;
        EXPECT_EQ(reply.payload, c.payload) << c.what;
    }
    EXPECT_FALSE(FrameLength("\x1D"));
    EXPECT_EQ(FrameLength("\x1D\xFF"), 260U);
}

TEST(FrameTest, DevicesReadWhatTheBusSends) {
    for (std::size_t length = 0; length <= kMaxPayload; ++length) {
        std::string payload;
        for (std::size_t i = 0; i < length; ++i)
            payload.push_back(static_cast<char>(i * 37 + length));
        const std::string frame = BuildFrame(9, "ab", payload);
        const auto request = ParseRequest(frame);
        ASSERT_TRUE(request);
        EXPECT_EQ(request->address, 9);
        EXPECT_EQ(request->code, "ab");
        EXPECT_EQ(request->payload, payload);
        EXPECT_EQ(CheckReply(BuildFrame(9, "ab", payload), 9).payload, payload);
        for (std::size_t i = 0; i < frame.size(); ++i) {
            std::string damaged = frame;
            damaged[i] = static_cast<char>(damaged[i] ^ 0x10);
            EXPECT_FALSE(ParseRequest(damaged)) << i;
            EXPECT_FALSE(ParseRequest(frame.substr(0, i))) << i;
            CheckReply(damaged, 9);
        }
    }
    EXPECT_EQ(ParseRequest(BuildFrame(9, "", ""))->code, "");
}

TEST(RealTest, EncodingOfEverySingle) {
    EXPECT_EQ(RealToBytes(0), Bytes("00 00 00 00"));
    EXPECT_EQ(RealToBytes(1), Bytes("7F 00 00 00"));
    EXPECT_EQ(RealToBytes(-2.5F), Bytes("80 A0 00 00"));
    EXPECT_EQ(BytesToReal(Bytes("83 40 00 00")), 24);
    EXPECT_EQ(BytesToReal(Bytes("00 00 00 00 FF")), std::ldexp(1, -127));
    EXPECT_EQ(RealToBytes(-std::ldexp(1.0F, -128)), Bytes("00 00 00 00"));
    for (std::uint32_t bits = 0x00400000; bits < 0x7F800000; bits += 9973) {
        for (const float value : {std::bit_cast<float>(bits), -std::bit_cast<float>(bits)}) {
            ASSERT_EQ(BytesToReal(RealToBytes(value)), double{value});
        }
    }
    EXPECT_THROW(RealToBytes(std::numeric_limits<float>::infinity()), Error);
    EXPECT_THROW(BytesToReal("abc"), Error);
    EXPECT_THROW(BytesToReal(Bytes("FF 00 00 00")), Error);
}

TEST(TableTest, ModelsAndKeysOfAddresses) {
    const std::pair<const char*, std::int32_t> cases[] = {{"1121", 21}, {"09", 9},  {"9", 9},  {"41", 41},
                                                          {"199", 199}, {"106", 0}, {"x9", 0}, {"", 0}};
    for (const auto& [address, model] : cases)
        EXPECT_EQ(ModelFromAddress(address), model) << address;
    for (const char* address : {"12", "12-2"})
        EXPECT_EQ(FileDeviceAddress(address), "12-2");
    EXPECT_EQ(DeviceKey("12"), "K12");
    EXPECT_EQ(VariableDescription(6), "Digital inputs");
    EXPECT_EQ(ActionDescription(4), "Unknown");
    EXPECT_EQ(XorChecksum(""), std::string(1, '\0'));
    EXPECT_EQ(XorChecksum("abcdefghijk"), "\x60");
}

}  // namespace
}  // namespace orvix
