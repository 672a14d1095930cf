// The growable array: growth rule, zero filling, moves, and the bounds check
// that stops the process in every build type.
#include <gtest/gtest.h>

#include <vector>

#include "foundation/mfc_templates.h"

namespace {

void Append(myCArray<int, int>& a, int v)
{
    int n = a.m_nSize;
    a.SetSize(n + 1, -1);
    a[n] = v;
}

TEST(Array, SingleAppendsGrowByTheAutomaticRule)
{
    myCArray<int, int> a;
    EXPECT_EQ(a.m_pData, nullptr);
    std::vector<int> capacities;
    for (int i = 0; i < 60; ++i) {
        int before = a.m_nMaxSize;
        Append(a, i);
        if (a.m_nMaxSize != before) capacities.push_back(a.m_nMaxSize);
    }
    // 1, then steps of four until the size reaches 32, then an eighth of the size
    std::vector<int> expected = {1, 5, 9, 13, 17, 21, 25, 29, 33, 37, 41, 46, 51, 57, 64};
    EXPECT_EQ(capacities, expected);
    for (int i = 0; i < 60; ++i) EXPECT_EQ(a[i], i);
}

TEST(Array, GrowthStepIsClampedAndKeptByMinusOne)
{
    struct
    {
        int size, expected;
    } cases[] = {{8, 12}, {40, 45}, {9000, 10024}};
    for (const auto& c : cases) {
        myCArray<char, char> a;
        a.SetSize(c.size, -1);
        ASSERT_EQ(a.m_nMaxSize, c.size);
        a.SetSize(c.size + 1, -1);
        EXPECT_EQ(a.m_nMaxSize, c.expected) << c.size;
    }
    myCArray<int, int> b;
    b.SetSize(2, 10);
    b.SetSize(3, -1);
    EXPECT_EQ(b.m_nGrowBy, 10);
    EXPECT_EQ(b.m_nMaxSize, 12);
    b.SetSize(20, -1);  // within one step of the capacity: capacity + step
    EXPECT_EQ(b.m_nMaxSize, 22);
    b.SetSize(40, -1);  // more than one step: exactly the new size
    EXPECT_EQ(b.m_nMaxSize, 40);
}

template <class T>
std::vector<T> Contents(myCArray<T, T>& a)
{
    return std::vector<T>(a.m_pData, a.m_pData + a.m_nSize);
}

TEST(Array, ShrinkKeepsTheBlockRegrowShowsZeros)
{
    myCArray<double, double> a;
    a.SetSize(6, -1);
    for (int i = 0; i < 6; ++i) a[i] = i + 1.5;
    double* block = a.m_pData;
    a.SetSize(2, -1);
    EXPECT_EQ(a.m_pData, block);
    EXPECT_EQ(a.m_nMaxSize, 6);
    a.SetSize(5, -1);
    EXPECT_EQ(Contents(a), (std::vector<double>{1.5, 2.5, 0, 0, 0}));
    a.SetSize(0, -1);
    EXPECT_EQ(a.m_pData, nullptr);
    EXPECT_EQ(a.m_nMaxSize, 0);
    a.SetSize(3, -1);
    EXPECT_EQ(a.m_nMaxSize, 3);
    EXPECT_EQ(Contents(a), std::vector<double>(3, 0.0));
}

TEST(Array, InsertAndRemoveMoveElements)
{
    myCArray<int, int> a;
    a.SetSize(2, -1);
    a[0] = 7;
    a[1] = 8;
    a.InsertAt(5, 9, 1);  // beyond the end: the gap is zero
    EXPECT_EQ(Contents(a), (std::vector<int>{7, 8, 0, 0, 0, 9}));
    a.InsertAt(0, 6, 1);
    EXPECT_EQ(Contents(a), (std::vector<int>{6, 7, 8, 0, 0, 0, 9}));
    a.InsertAt(1, 4, 2);
    EXPECT_EQ(Contents(a), (std::vector<int>{6, 4, 4, 7, 8, 0, 0, 0, 9}));
    int cap = a.m_nMaxSize;
    a.RemoveAt(0, 3);
    EXPECT_EQ(Contents(a), (std::vector<int>{7, 8, 0, 0, 0, 9}));
    a.RemoveAt(a.m_nSize - 1, 1);
    EXPECT_EQ(Contents(a), (std::vector<int>{7, 8, 0, 0, 0}));
    EXPECT_EQ(a.m_nMaxSize, cap);
}

using ArrayDeathTest = ::testing::Test;

TEST_F(ArrayDeathTest, OutOfBoundsStopsWithTheConditionAndSignature)
{
    myCArray<double, double> a;
    a.SetSize(3, -1);
    EXPECT_DEATH(a.ElementAt(-1), "mfc_templates.*ElementAt.*TYPE = double.*nIndex >= 0 && nIndex < m_nSize");
    EXPECT_DEATH(a[3], "nIndex >= 0 && nIndex < m_nSize");
    myCArray<int*, int*> p;
    EXPECT_DEATH(p.ElementAt(0), "TYPE = int\\*");
}

}  // namespace
