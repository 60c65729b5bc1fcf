#include "registrar/keyed_hash.h"

#include <gtest/gtest.h>

namespace {

TEST(KeyedHash, IsTheSameForTheSamePartsOnly)
{
    KeyedHash hash;
    const auto value = hash.hash({"a", "bc"});
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(hash.hash({"a", "bc"}), value);
    EXPECT_NE(hash.hash({"a", "bd"}), value);
    EXPECT_NE(hash.hash({"a"}), value);
}

TEST(KeyedHash, TellsWhereAPartEnds)
{
    KeyedHash hash;
    const auto value = hash.hash({"a", "bc"});
    EXPECT_NE(hash.hash({"ab", "c"}), value);
    EXPECT_NE(hash.hash({"abc"}), value);
    EXPECT_NE(hash.hash({"a", "bc", ""}), value);
}

TEST(KeyedHash, IsAnotherForEachObject)
{
    KeyedHash hash;
    KeyedHash other;
    EXPECT_NE(hash.hash({"a"}), other.hash({"a"}));
}

} // namespace
