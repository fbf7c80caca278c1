#include "simulator/SimulatorArguments.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using simulator::Exchange;
using simulator::Line;
using simulator::SimulatorArguments;

SimulatorArguments Parse(std::vector<std::string> words) {
    words.insert(words.begin(), "printer-simulator");
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return SimulatorArguments::Parse(static_cast<int>(words.size()), pointers.data());
}

TEST(SimulatorArguments, WordsBecomeOptions) {
    EXPECT_EQ(Parse({}).tcpPort, 9100);
    EXPECT_EQ(Parse({"--usb"}).printer.line, Line::Usb);
    const SimulatorArguments both = Parse({"--serial", "--usb", "--mode", "U4"});
    EXPECT_EQ(both.printer.line, Line::Serial);
    EXPECT_TRUE(both.usb);
    EXPECT_EQ(both.printer.mode, "U4");
    const SimulatorArguments many = Parse({"--tcp", "0", "--banks=3", "--family", "0", "--restart-ms", "10"});
    EXPECT_EQ(many.tcpPort, 0);
    EXPECT_EQ(many.printer.bankCount, 3U);
    EXPECT_EQ(many.printer.family, 0);
    EXPECT_EQ(many.printer.restartMs, 10U);
}

TEST(SimulatorArguments, FaultsNameExchangeOccurrenceAndWhatHappens) {
    const auto faults = Parse({"--fault", "module:2=339A", "--fault", "status=silence", "--fault",
                               "bank-group:1=cut:500", "--fault", "release=late:70"})
                            .printer.faults;
    ASSERT_EQ(faults.size(), 4U);
    EXPECT_EQ(faults[0].exchange, Exchange::Module);
    EXPECT_EQ(faults[0].first, 2);
    EXPECT_EQ(faults[0].last, 2);
    EXPECT_EQ(faults[0].answers, (std::vector<simulator::Bytes>{{0x33, 0x9A}}));
    EXPECT_TRUE(faults[1].answers.empty());
    EXPECT_EQ(faults[1].last, simulator::Fault::kAlways);
    EXPECT_EQ(faults[2].cutAfter, 500U);
    EXPECT_EQ(faults[3].delayMs, 70U);
}

TEST(SimulatorArguments, WrongWordsAreNamed) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{"--nonsense"}, "unknown or incomplete option: --nonsense"},
        {{"--tcp"}, "unknown or incomplete option: --tcp"},
        {{"printer"}, "unknown word: printer"},
        {{"--tcp", "70000"}, "not a number from 0 to 65535: 70000"},
        {{"--banks", "3x"}, "not a number from 0 to 65535: 3x"},
        {{"--mode", "U7"}, "a mode is U1 to U6, not U7"},
        {{"--tcp", "1", "--serial"}, "--tcp or --serial, not both"},
        {{"--fault", "module"}, "a fault is NAME[:N]=WHAT, not module"},
        {{"--fault", "modul=33"}, "no such exchange: modul"},
        {{"--fault", "module=3"}, "not bytes in hexadecimal: 3"},
    };
    for (const auto& [words, message] : cases) {
        try {
            Parse(words);
            ADD_FAILURE() << "accepted; expected " << message;
        } catch (const std::invalid_argument& failure) {
            EXPECT_EQ(failure.what(), message);
        }
    }
}

}  // namespace
