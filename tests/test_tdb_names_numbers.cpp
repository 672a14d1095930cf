// The reader's name table and its exact conversion of decimal numbers, each
// against an independent reference: a std::map of the same names, and strtod.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <string>

#include "tdb/NameTable.h"
#include "tdb/TdbNumber.h"

namespace {

// Names of every length around the eight-byte steps of the hash, prefixes of
// one another, and enough of them to rehash many times; every one is found
// with its value, and names never added are not.
TEST(NameTable, AgreesWithAMapThroughRehashing)
{
    tdb::NameTable table;
    std::map<std::string, int> reference;
    std::mt19937 rng(7);
    for (int i = 0; i < 20000; ++i) {
        std::string name = "GF" + std::to_string(i);
        if (i % 3 == 0) name += std::string(static_cast<size_t>(rng() % 17), 'X');
        const auto [value, added] = table.tryEmplace(name, i);
        const bool referenceAdded = reference.emplace(name, i).second;
        ASSERT_EQ(added, referenceAdded) << name;
        ASSERT_EQ(*value, reference.at(name)) << name;
    }
    ASSERT_EQ(table.size(), reference.size());
    table.forEachValue([](int& v) { v = 2 * v + 1; });
    for (const auto& [name, value] : reference) {
        const int* found = table.find(name);
        ASSERT_NE(found, nullptr) << name;
        EXPECT_EQ(*found, 2 * value + 1) << name;
    }
    for (const char* absent : {"G", "GF", "GF20000", "GF1X2", "REF1", "gf1"})
        EXPECT_FALSE(table.contains(absent)) << absent;
    table.set("GF1", -5);
    EXPECT_EQ(*table.find("GF1"), -5);
    EXPECT_EQ(table.size(), reference.size());
}

TEST(NameTable, EmptyTableFindsNothing)
{
    tdb::NameTable table;
    EXPECT_EQ(table.find("A"), nullptr);
    table.reserve(1000);
    EXPECT_EQ(table.find(""), nullptr);
    table.set("", 3);  // the empty name is a name like any other
    EXPECT_EQ(*table.find(""), 3);
}

// exactDecimal must give strtod's value bit for bit whenever it answers, and
// must leave to strtod what one rounding cannot give.
TEST(ExactDecimal, EqualsStrtodOrDeclines)
{
    struct Case
    {
        const char* text;
        bool exact;
    };
    const Case cases[] = {
        {"298.15", true},         {"-7976.15", true},       {"137.093038", true},     {".001884662", true},
        {"74092", true},          {"-1.8E-06", true},       {"1.5D-3", true},         {"2.5d+2", true},
        {"+0", true},             {"-0.0", true},           {"0e999", true},          {"1e22", true},
        {"1e-22", true},          {"9007199254740992", true}, {"1234567890123456789", false},
        {"9007199254740993", false}, {"1e23", false},       {"1e-23", false},         {"12345678901234567890", false},
        {"1.", true},             {"1.e5", true},           {".", false},             {"", false},
        {"+", false},             {"1e", false},            {"1e+", false},           {"1x", false},
        {"0x10", false},          {"inf", false},           {"1e1000", false},        {"--1", false},
    };
    for (const Case& c : cases) {
        double value = 42.0;
        const bool answered = tdb::exactDecimal(c.text, c.text + std::strlen(c.text), value);
        EXPECT_EQ(answered, c.exact) << c.text;
        if (!answered) continue;
        std::string forStrtod = c.text;
        for (char& ch : forStrtod)
            if (ch == 'D' || ch == 'd') ch = 'E';
        const double expected = std::strtod(forStrtod.c_str(), nullptr);
        EXPECT_EQ(std::memcmp(&value, &expected, sizeof value), 0) << c.text << " " << value << " " << expected;
    }
    // random numbers as databases write them: up to 17 digits around a point, with or without an exponent
    std::mt19937_64 rng(11);
    for (int i = 0; i < 200000; ++i) {
        std::string digits = std::to_string(rng() % 100000000000000000ull);
        const size_t point = rng() % (digits.size() + 1);
        std::string text = (rng() % 2 ? "-" : "") + digits.substr(0, point) + "." + digits.substr(point);
        if (rng() % 3 == 0) text += "E" + std::to_string(static_cast<int>(rng() % 41) - 20);
        double value = 0.0;
        if (!tdb::exactDecimal(text.data(), text.data() + text.size(), value)) continue;
        const double expected = std::strtod(text.c_str(), nullptr);
        ASSERT_EQ(std::memcmp(&value, &expected, sizeof value), 0) << text;
    }
}

}  // namespace
