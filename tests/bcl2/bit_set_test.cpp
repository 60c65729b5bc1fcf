#include "bcl2/bit_set.h"

#include <gtest/gtest.h>

#include <climits>

TEST(BitSet, holdsEachOfIts32Bits)
{
    for (unsigned bit = 0; bit < 32; ++bit) {
        Cbcl_bit_set set;
        set.Set(bit);
        EXPECT_EQ(set.value(), 1u << bit);
        for (unsigned other = 0; other < 32; ++other)
            EXPECT_EQ(set.Has(other), other == bit);
        set.Clear(bit);
        EXPECT_EQ(set, Cbcl_bit_set());
    }
}

TEST(BitSet, ignoresBitsOutsideItsRange)
{
    for (const unsigned bit : {32u, 33u, 63u, 64u, 255u, UINT_MAX}) {
        Cbcl_bit_set none;
        none.Set(bit);
        EXPECT_EQ(none.value(), 0u) << bit;
        Cbcl_bit_set all(UINT_MAX);
        all.Clear(bit);
        EXPECT_EQ(all.value(), UINT_MAX) << bit;
        EXPECT_FALSE(all.Has(bit)) << bit;
    }
}
