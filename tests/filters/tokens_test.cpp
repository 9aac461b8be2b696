#include "filters/tokens.h"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace corvane {
namespace {

using PieceList = std::vector<std::string_view>;

TEST(TokensTest, PiecesStandBetweenTheSeparators) {
  EXPECT_EQ(SplitAtRuns("a,b,c", ','), (PieceList{"a", "b", "c"}));
}

TEST(TokensTest, ARunOfSeparatorsCountsAsOne) {
  EXPECT_EQ(SplitAtRuns("a,,,b", ','), (PieceList{"a", "b"}));
}

TEST(TokensTest, SeparatorsAtTheEndsMakeNoEmptyPieces) {
  EXPECT_EQ(SplitAtRuns(",,a,b,,", ','), (PieceList{"a", "b"}));
}

TEST(TokensTest, TextWithoutASeparatorIsOnePiece) {
  EXPECT_EQ(SplitAtRuns(" a b\n", ','), (PieceList{" a b\n"}));
}

TEST(TokensTest, NothingButSeparatorsOrNothingAtAllHasNoPieces) {
  EXPECT_TRUE(SplitAtRuns(",,,", ',').empty());
  EXPECT_TRUE(SplitAtRuns("", ',').empty());
}

}  // namespace
}  // namespace corvane
