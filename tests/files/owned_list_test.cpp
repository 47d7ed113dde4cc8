#include "files/owned_list.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Entry {
    int value = 0;
    Entry* next = nullptr;
};

int destroyed = 0;

void destroy(Entry* entry) {
    ++destroyed;
    delete entry;
}

using List = corvid::OwnedList<Entry, destroy>;

class OwnedListTest : public ::testing::Test {
protected:
    OwnedListTest() { destroyed = 0; }
    static void fill(List& list, int count) {
        for (int i = 1; i <= count; ++i) {
            list.append(new Entry{i, nullptr});
        }
    }
    static std::string shown(const List& list) {
        std::string text;
        for (const Entry* entry = list.head(); entry != nullptr; entry = entry->next) {
            text += std::to_string(entry->value);
        }
        return text;
    }
};

TEST_F(OwnedListTest, StartsEmpty) {
    List list;
    EXPECT_EQ(nullptr, list.head());
    EXPECT_EQ(nullptr, list.cursor());
    EXPECT_EQ(0U, list.count());
    EXPECT_FALSE(list.prepare());
    EXPECT_EQ(nullptr, list.next());
}

TEST_F(OwnedListTest, AppendsAtTheEnd) {
    List list;
    fill(list, 3);
    EXPECT_EQ("123", shown(list));
    EXPECT_EQ(3U, list.count());
}

TEST_F(OwnedListTest, AnAppendedEntryEndsTheListWhateverItsNextWas) {
    List list;
    Entry other;
    list.append(new Entry{1, &other});
    EXPECT_EQ("1", shown(list));
}

TEST_F(OwnedListTest, TheCursorGoesFromTheFirstEntryToTheEnd) {
    List list;
    fill(list, 2);
    EXPECT_EQ(nullptr, list.next());
    EXPECT_TRUE(list.prepare());
    EXPECT_EQ(1, list.next()->value);
    EXPECT_EQ(2, list.cursor()->value);
    EXPECT_EQ(2, list.next()->value);
    EXPECT_EQ(nullptr, list.next());
    EXPECT_EQ(nullptr, list.next());
}

TEST_F(OwnedListTest, FindGivesTheFirstEntryThatIsAccepted) {
    List list;
    fill(list, 4);
    EXPECT_EQ(2, list.find([](const Entry& entry) { return entry.value % 2 == 0; })->value);
    EXPECT_EQ(nullptr, list.find([](const Entry& entry) { return entry.value > 4; }));
}

TEST_F(OwnedListTest, RemovesEveryEntryThatIsAccepted) {
    List list;
    fill(list, 5);
    EXPECT_EQ(3U, list.removeIf([](const Entry& entry) { return entry.value % 2 == 1; }));
    EXPECT_EQ("24", shown(list));
    EXPECT_EQ(2U, list.count());
    EXPECT_EQ(3, destroyed);
    EXPECT_EQ(0U, list.removeIf([](const Entry&) { return false; }));
}

TEST_F(OwnedListTest, AppendsBehindWhatARemovalLeft) {
    List list;
    fill(list, 3);
    list.removeIf([](const Entry& entry) { return entry.value == 3; });
    list.append(new Entry{7, nullptr});
    EXPECT_EQ("127", shown(list));
    list.removeIf([](const Entry&) { return true; });
    list.append(new Entry{8, nullptr});
    EXPECT_EQ("8", shown(list));
    EXPECT_EQ(1U, list.count());
}

TEST_F(OwnedListTest, ACursorOnARemovedEntryMovesToTheNextThatStays) {
    List list;
    fill(list, 4);
    list.prepare();
    list.next();
    list.removeIf([](const Entry& entry) { return entry.value == 2 || entry.value == 3; });
    EXPECT_EQ(4, list.next()->value);
    list.prepare();
    list.removeIf([](const Entry&) { return true; });
    EXPECT_EQ(nullptr, list.next());
}

TEST_F(OwnedListTest, ClearingDestroysEveryEntry) {
    List list;
    fill(list, 3);
    list.prepare();
    list.clear();
    EXPECT_EQ(3, destroyed);
    EXPECT_EQ(0U, list.count());
    EXPECT_EQ(nullptr, list.cursor());
    fill(list, 1);
    EXPECT_EQ("1", shown(list));
}

TEST_F(OwnedListTest, TheEndOfTheListDestroysEveryEntry) {
    {
        List list;
        fill(list, 3);
    }
    EXPECT_EQ(3, destroyed);
}

TEST_F(OwnedListTest, AdoptingReplacesTheEntriesAndStandsOnTheFirst) {
    List list;
    fill(list, 2);
    auto* tail = new Entry{9, nullptr};
    auto* head = new Entry{8, tail};
    list.adopt(head, tail, 2);
    EXPECT_EQ(2, destroyed);
    EXPECT_EQ("89", shown(list));
    EXPECT_EQ(8, list.next()->value);
    list.append(new Entry{1, nullptr});
    EXPECT_EQ("891", shown(list));
    EXPECT_EQ(3U, list.count());
}

TEST_F(OwnedListTest, AdoptingNothingEmptiesTheList) {
    List list;
    fill(list, 2);
    list.adopt(nullptr, nullptr, 0);
    EXPECT_EQ(0U, list.count());
    EXPECT_EQ(nullptr, list.next());
}

} // namespace
