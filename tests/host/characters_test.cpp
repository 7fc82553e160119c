#include "host/characters.h"

#include <gtest/gtest.h>

namespace orvix::tests {
namespace {

TEST(Characters, WhatSteersATerminalIsReplaced) {
    const struct {
        std::string Text;
        const char* Harmless;
        const char* Printable;
    } cases[] = {
        {"", "", ""},
        {"Öfen\t21.5 °C ±😀", "Öfen\t21.5 °C ±😀", "Öfen\t21.5 °C ±😀"},
        {"a\x1b[31m\x7f", "a?[31m?", "a?[31m?"},
        {std::string("\0\x9b", 2), "??", "??"},
        {"\xC2\x80|\xC2\x9B|\xC2\xA0", "?|?|\xC2\xA0", "?|?|\xC2\xA0"},  // C1, and the blank behind them
        {"\u061C\u200E\u200F\u2028\u202E\u2066\u2069", "???????", "???????"},
        {"\u200D\u2010\u2030", "\u200D\u2010\u2030", "\u200D\u2010\u2030"},
        {"\xC0\x9B\xFF\xE2\x82", "?????", "?????"},  // no UTF-8, cut off
        {"\xED\xA0\x80|\xF4\x90\x80\x80", "???|????", "???|????"},
        {"a\nb\r\nc\rd\x1f"
         "e",
         "a\nb\r\nc?d?e", "a | b | c?d | e"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Harmless(c.Text), c.Harmless);
        EXPECT_EQ(Printable(c.Text), c.Printable);
    }
}

TEST(Characters, ABegunCharacterIsKnown) {
    const std::pair<const char*, std::size_t> cases[] = {{"", 0},         {"a", 0},
                                                         {"é", 0},        {"a\xC3", 1},
                                                         {"\xE2\x82", 2}, {"\xF0\x9F\x98", 3},
                                                         {"😀", 0},        {"\x80\x80\x80\x80", 0}};
    for (const auto& [text, begun] : cases)
        EXPECT_EQ(BegunCharacter(text), begun) << text;
}

}  // namespace
}  // namespace orvix::tests
