// Settings files, and the settings of a serial port.
//
// Input: lines with a section, a key and a value, then the text of a file. The first line is read as port settings too.

#include "fuzz/support/input.h"
#include "fuzz/support/require.h"
#include "platform/ini_text.h"
#include "platform/serial_device.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace orvix;
    using orvix::fuzz::Require;
    orvix::fuzz::Input input(data, size);
    const std::string section = input.Line();
    const std::string key = input.Line();
    const std::string value = input.Line();
    const std::string text = input.Rest();

    const std::string otherKey = key + "2";
    const auto other = platform::IniValue(text, section, otherKey);
    const std::string changed = platform::WithIniValue(text, section, key, value);
    Require(platform::IniValue(changed, section, key) == value, "a value that was written is read");
    Require(platform::IniValue(changed, section, otherKey) == other, "other keys keep their values");
    Require(platform::WithIniValue(changed, section, key, value) == changed, "writing a value again changes nothing");

    orvix::fuzz::Accepts([&] {
        const auto format = platform::ParseSerialFormat(section);
        Require(format.CharacterTime > Duration::zero() && format.Speed != B0, "a character takes time");
    });
    return 0;
}
