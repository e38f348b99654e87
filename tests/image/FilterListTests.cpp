// The filter list against std::vector, at lengths on both sides of the
// items it keeps in itself.

#include "image/FilterList.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

namespace {

using List = VX::Image::FilterList<int*, 4>;

int gItems[12];

std::vector<int*> firstItems(std::size_t count) {
    std::vector<int*> items;
    for (std::size_t i = 0; i < count; ++i)
        items.push_back(&gItems[i]);
    return items;
}

List listOf(const std::vector<int*>& items) {
    List list;
    for (int* item : items)
        list.push_back(item);
    return list;
}

void expectItems(const List& list, const std::vector<int*>& items) {
    ASSERT_EQ(list.size(), items.size());
    EXPECT_EQ(list.empty(), items.empty());
    EXPECT_EQ(std::vector<int*>(list.begin(), list.end()), items);
}

class FilterListLengths : public ::testing::TestWithParam<std::size_t> {};

TEST_P(FilterListLengths, CopiesAndMovesKeepTheItemsAndLeaveTheSourceUsable) {
    const std::vector<int*> items = firstItems(GetParam());
    List list = listOf(items);
    expectItems(list, items);

    const List copy(list);
    expectItems(copy, items);
    EXPECT_TRUE(copy == list);

    List moved(std::move(list));
    expectItems(moved, items);
    expectItems(list, {}); // a list moved from is empty
    list.push_back(&gItems[11]);
    expectItems(list, {&gItems[11]});

    // Assignments over lists of every other length, inline or not.
    for (std::size_t before : {std::size_t(0), std::size_t(3), std::size_t(9)}) {
        List target = listOf(firstItems(before));
        target = copy;
        expectItems(target, items);
        List source = copy;
        List other = listOf(firstItems(before));
        other = std::move(source);
        expectItems(other, items);
        other.push_back(&gItems[11]);
        EXPECT_EQ(other.back(), &gItems[11]);
        EXPECT_EQ(other.size(), items.size() + 1);
    }
}

TEST_P(FilterListLengths, EraseKeepsTheOrderOfTheRest) {
    const std::vector<int*> items = firstItems(GetParam());
    for (std::size_t from = 0; from <= items.size(); ++from)
        for (std::size_t to = from; to <= items.size(); ++to) {
            List list = listOf(items);
            std::vector<int*> expected = items;
            list.erase(list.begin() + from, list.begin() + to);
            expected.erase(expected.begin() + std::ptrdiff_t(from),
                           expected.begin() + std::ptrdiff_t(to));
            expectItems(list, expected);
        }
}

INSTANTIATE_TEST_SUITE_P(AroundTheInlineItems, FilterListLengths,
                         ::testing::Values(0, 1, 3, 4, 5, 8, 9));

} // namespace
