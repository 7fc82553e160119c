#include <array>
#include <cctype>
#include <cstdint>
#include <string_view>

#include "host/error.h"
#include "platform/serial_device.h"

namespace orvix::platform {

namespace {

struct BaudRate {
    std::string_view Text;
    std::int64_t BitsPerSecond;
    speed_t Speed;
};

constexpr BaudRate kBaudRates[] = {
    {"300", 300, B300},       {"600", 600, B600},          {"1200", 1200, B1200},       {"2400", 2400, B2400},
    {"4800", 4800, B4800},    {"9600", 9600, B9600},       {"19200", 19200, B19200},    {"38400", 38400, B38400},
    {"57600", 57600, B57600}, {"115200", 115200, B115200}, {"230400", 230400, B230400},
};

/// A field's text, the terminal flags it stands for, and the bits that it adds to a character.
struct Choice {
    std::string_view Text;
    tcflag_t Flags;
    int Bits;
};

constexpr Choice kParities[] = {{"n", 0, 0}, {"e", PARENB, 1}, {"o", PARENB | PARODD, 1}};
constexpr Choice kDataBits[] = {{"7", CS7, 7}, {"8", CS8, 8}};
constexpr Choice kStopBits[] = {{"1", 0, 1}, {"2", CSTOPB, 2}};

template <class Row, std::size_t Count>
const Row* FindText(const Row (&rows)[Count], std::string_view text) {
    for (const Row& row : rows) {
        if (row.Text == text) return &row;
    }
    return nullptr;
}

/// The four fields; empty ones where there are fewer or more.
std::array<std::string, 4> Fields(const std::string& settings) {
    std::array<std::string, 4> fields;
    std::size_t field = 0;
    for (const char character : settings) {
        if (character == ',') {
            if (++field == fields.size()) return {};
        } else {
            fields.at(field) += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        }
    }
    return fields;
}

}  // namespace

SerialFormat ParseSerialFormat(const std::string& settings) {
    const auto fields = Fields(settings);
    const BaudRate* baud = FindText(kBaudRates, fields[0]);
    const Choice* parity = FindText(kParities, fields[1]);
    const Choice* dataBits = FindText(kDataBits, fields[2]);
    const Choice* stopBits = FindText(kStopBits, fields[3]);
    if (baud == nullptr || parity == nullptr || dataBits == nullptr || stopBits == nullptr) {
        throw Error(errors::General, "serial settings \"" + settings +
                                         "\" are not baud rate, parity, data bits and stop bits as in \"9600,n,8,1\"");
    }
    constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
    const std::int64_t bits = 1 + dataBits->Bits + parity->Bits + stopBits->Bits;
    return {baud->Speed, parity->Flags | dataBits->Flags | stopBits->Flags,
            Duration(bits * kNanosecondsPerSecond / baud->BitsPerSecond)};
}

}  // namespace orvix::platform
