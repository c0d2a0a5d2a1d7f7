#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <string>
#include <utility>

#include "qis/Array.h"
#include "qis/Exception.h"
#include "qis/HashTable.h"

using qis::String;

TEST(Array, CapacityGrowsFromEightByDoubling) {
    qis::Array<int> items;
    EXPECT_EQ(items.capacity(), 0u);
    const std::pair<int, std::size_t> steps[] = {{1, 8}, {8, 8}, {9, 16}, {16, 16}, {17, 32}};
    int added = 0;
    for (const auto& [count, capacity] : steps) {
        while (added < count) items.add(added++);
        EXPECT_EQ(items.capacity(), capacity) << "after " << count << " items";
    }
}

TEST(Array, AccessPastTheEndReportsTheValidRange) {
    qis::Array<String> items;
    const auto expectOutOfBounds = [&items](std::size_t index, long long upper) {
        try {
            items.get(index);
            ADD_FAILURE() << "no IndexOutOfBounds for index " << index;
        } catch (const qis::IndexOutOfBounds& e) {
            EXPECT_EQ(e.getLower(), 0);
            EXPECT_EQ(e.getUpper(), upper);
            EXPECT_EQ(e.getIndex(), static_cast<long long>(index));
        }
    };
    expectOutOfBounds(0, -1);
    for (const char* standard : {"DVB-T", "DVB-C", "ATSC"}) items.add(standard);
    expectOutOfBounds(3, 2);
    EXPECT_THROW((void)items[7], qis::IndexOutOfBounds);
    EXPECT_EQ(items[2], "ATSC");
}

TEST(Array, ImpossibleReserveThrowsNullPointerNamingTheSize) {
    qis::Array<int> items;
    // Beyond any vector's max_size(), so it fails before allocating (no sanitizer abort).
    const std::size_t impossible = std::numeric_limits<std::size_t>::max();
    try {
        items.reserve(impossible);
        ADD_FAILURE() << "reserve did not throw";
    } catch (const qis::NullPointer& e) {
        EXPECT_EQ(e.getText(), "Asked for array of size:" + std::to_string(impossible));
    }
    items.add(5); // still usable
    EXPECT_EQ(items.capacity(), 8u);
}

TEST(HashTable, PutReplacesRemoveForgetsAndKeysAreCaseSensitive) {
    qis::HashTable<int> table;
    table.put("Tuner", 1);
    table.put("tuner", 2);
    table.put("Tuner", 3);
    EXPECT_EQ(table.size(), 2u);
    EXPECT_EQ(table.get("Tuner"), 3);
    EXPECT_EQ(table.get("tuner"), 2);
    EXPECT_FALSE(table.containsKey("TUNER"));
    EXPECT_TRUE(table.remove("tuner"));
    EXPECT_FALSE(table.remove("tuner"));
    EXPECT_FALSE(table.containsKey("tuner"));
    EXPECT_EQ(table.size(), 1u);
    try {
        table.get("tuner");
        ADD_FAILURE() << "get of a missing key did not throw";
    } catch (const qis::HashKeyMissing& e) {
        EXPECT_EQ(e.getKey(), "tuner");
    }
}

TEST(HashTable, KeepsEveryValueThroughManyRehashes) {
    qis::HashTable<String> table(1);
    const auto key = [](int i) { return "channel" + String::number(i); };
    for (int i = 0; i < 3000; ++i) table.put(key(i), String::number(i * 7));
    for (int i = 0; i < 3000; i += 2) ASSERT_TRUE(table.remove(key(i)));
    EXPECT_EQ(table.size(), 1500u);
    for (int i = 1; i < 3000; i += 2) {
        ASSERT_FALSE(table.containsKey(key(i - 1))) << key(i - 1);
        ASSERT_EQ(table.get(key(i)), String::number(i * 7)) << key(i);
    }
}

TEST(Exceptions, AssertCarriesSourceNameLineAndConditionAsWritten) {
    const int tuners = 3;
    long line = 0;
    try {
        line = __LINE__; QIS_ASSERT("TunerScan.cpp", tuners == 4 && tuners > 0);
        ADD_FAILURE() << "assertion did not fire";
    } catch (const qis::AssertionFailure& e) {
        EXPECT_EQ(e.getFile(), "TunerScan.cpp");
        EXPECT_EQ(e.getLine(), line);
        EXPECT_EQ(e.getCondition(), "tuners == 4 && tuners > 0");
        EXPECT_TRUE(e.getMessage().contains("tuners == 4 && tuners > 0")); // for catchers of the base
        EXPECT_STREQ(e.what(), e.getMessage().c_str());
    }
    EXPECT_NO_THROW(QIS_ASSERT("TunerScan.cpp", tuners == 3));
}
