#include "transport/DataStream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <stdexcept>
#include <utility>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned char kFour[] = {1, 2, 3, 4};
constexpr unsigned long kHuge = std::numeric_limits<unsigned long>::max();

TEST(DataStream, StartsEmptyWithRoomFor32Bytes) {
    const CDataStream stream;
    EXPECT_EQ(stream.DataSize(), 0u);
    EXPECT_GE(stream.Data().capacity(), 32u);
}

TEST(DataStream, CopiesTheBytesItIsMadeFrom) {
    const CDataStream stream(kFour, 3);
    EXPECT_THAT(stream.Data(), ElementsAre(1, 2, 3));
    EXPECT_GE(stream.Data().capacity(), 32u);
}

TEST(DataStream, IsEmptyWhenMadeFromNull) {
    const CDataStream stream(nullptr, 7);
    EXPECT_EQ(stream.DataSize(), 0u);
    EXPECT_GE(stream.Data().capacity(), 32u);
}

TEST(DataStream, ClassInitMakesRoomOnlyWhereThereIsNone) {
    CDataStream stream;
    stream.Data().reserve(100);
    const auto room = stream.Data().capacity();
    stream.ClassInit();
    EXPECT_EQ(stream.Data().capacity(), room);
    std::vector<unsigned char>().swap(stream.Data());
    ASSERT_EQ(stream.Data().capacity(), 0u);
    stream.ClassInit();
    EXPECT_GE(stream.Data().capacity(), 32u);
}

TEST(DataStream, ClearKeepsTheRoom) {
    CDataStream stream;
    stream.EnsureSize(0, 1000);
    const auto room = stream.Data().capacity();
    stream.Clear();
    EXPECT_EQ(stream.DataSize(), 0u);
    EXPECT_EQ(stream.Data().capacity(), room);
}

TEST(DataStream, EnsureSizeFillsWithZerosAndNeverShrinks) {
    CDataStream stream(kFour, 4);
    stream.EnsureSize(4, 2);
    EXPECT_THAT(stream.Data(), ElementsAre(1, 2, 3, 4, 0, 0));
    stream.EnsureSize(1, 1);
    EXPECT_EQ(stream.DataSize(), 6u);
}

TEST(DataStream, GrowsZeroedAfterClear) {
    CDataStream stream(kFour, 4);
    stream.Clear();
    stream.EnsureSize(0, 4);
    EXPECT_THAT(stream.Data(), ElementsAre(0, 0, 0, 0));
}

TEST(DataStream, RefusesSizesThatOverflow) {
    CDataStream stream(kFour, 4);
    EXPECT_THROW(stream.EnsureSize(kHuge, 1), std::length_error);
    EXPECT_THROW(stream.EnsureSize(2, kHuge), std::length_error);
    EXPECT_THROW(stream.EnsureSize(kHuge, 0), std::length_error);
    EXPECT_THROW(stream.SetAt(kHuge, kFour, 4), std::length_error);
    EXPECT_THAT(stream.Data(), ElementsAre(1, 2, 3, 4));
}

TEST(DataStream, IndexPastTheEndGrows) {
    CDataStream stream;
    EXPECT_EQ(stream[10], 0);
    EXPECT_EQ(stream.DataSize(), 11u);
    EXPECT_THAT(stream.Data(), Each(0));
    stream[2] = 7;
    EXPECT_EQ(stream.Data()[2], 7);
    EXPECT_EQ(stream.DataSize(), 11u);
}

TEST(DataStream, RefusesNegativeIndex) {
    CDataStream stream(kFour, 4);
    EXPECT_THROW(stream[-1], std::out_of_range);
    EXPECT_THROW(stream[INT_MIN], std::out_of_range);
    EXPECT_EQ(stream.DataSize(), 4u);
}

TEST(DataStream, SetAtFillsTheGapWithZeros) {
    CDataStream stream(kFour, 2);
    EXPECT_EQ(&stream.SetAt(4, kFour, 2), &stream);
    EXPECT_THAT(stream.Data(), ElementsAre(1, 2, 0, 0, 1, 2));
}

TEST(DataStream, SetAtOverwritesInPlace) {
    CDataStream stream(kFour, 4);
    stream.SetAt(1, kFour, 2);
    EXPECT_THAT(stream.Data(), ElementsAre(1, 1, 2, 4));
}

TEST(DataStream, SetAtOfNothingStillReachesTheOffset) {
    CDataStream stream;
    stream.SetAt(3, kFour, 0);
    EXPECT_THAT(stream.Data(), ElementsAre(0, 0, 0));
    stream.SetAt(5, stream.Data().data(), 0);
    EXPECT_EQ(stream.DataSize(), 5u);
}

TEST(DataStream, NullSourceLeavesTheStream) {
    CDataStream stream(kFour, 4);
    EXPECT_EQ(&stream.SetDataStream(nullptr, 5), &stream);
    stream.SetAt(9, nullptr, 5);
    EXPECT_THAT(stream.Data(), ElementsAre(1, 2, 3, 4));
}

TEST(DataStream, SetDataStreamReplacesTheContents) {
    CDataStream stream(kFour, 4);
    stream.SetDataStream(kFour + 2, 1);
    EXPECT_THAT(stream.Data(), ElementsAre(3));
    stream.SetDataStream(kFour, 0);
    EXPECT_THAT(stream.Data(), IsEmpty());
}

TEST(DataStream, TakesItsOwnBytesAsSource) {
    CDataStream stream(kFour, 4);
    stream.SetDataStream(stream.GetDataStream(1), 3);
    EXPECT_THAT(stream.Data(), ElementsAre(2, 3, 4));
    stream.SetAt(2, stream.GetDataStream(0), 3);
    EXPECT_THAT(stream.Data(), ElementsAre(2, 3, 2, 3, 4));
}

TEST(DataStream, TakesItsOwnBytesAsSourceWhenItMustMove) {
    CDataStream stream;
    stream.EnsureSize(0, stream.Data().capacity());
    stream[0] = 9;
    const auto end = stream.DataSize();
    stream.SetAt(end, stream.GetDataStream(0), end);
    EXPECT_EQ(stream.DataSize(), 2 * end);
    EXPECT_EQ(stream.Data()[end], 9);
}

TEST(DataStream, AppendsBytes) {
    CDataStream stream;
    for (unsigned int i = 0; i < 1000; ++i) {
        stream.AppendDataByte(static_cast<unsigned char>(i));
    }
    EXPECT_EQ(stream.DataSize(), 1000u);
    EXPECT_EQ(stream.Data()[999], 999 & 0xFF);
}

TEST(DataStream, HasNoBytesFromItsEndOn) {
    const CDataStream stream(kFour, 4);
    EXPECT_EQ(stream.GetDataStream(0), stream.Data().data());
    EXPECT_EQ(*stream.GetDataStream(3), 4);
    EXPECT_EQ(stream.GetDataStream(stream.DataSize()), nullptr);
    EXPECT_EQ(stream.GetDataStream(kHuge), nullptr);
    EXPECT_EQ(CDataStream().GetDataStream(0), nullptr);
}

TEST(DataStream, ReadsWordsLowByteFirst) {
    const CDataStream stream(kFour, 4);
    EXPECT_EQ(stream.GetDataWord(0), 0x0201);
    EXPECT_EQ(stream.GetDataWord(1), 0x0403);
    EXPECT_EQ(stream.GetDataWordAt(1), 0x0302);
    constexpr unsigned char high[] = {0xFF, 0xFE};
    EXPECT_EQ(CDataStream(high, 2).GetDataWord(0), 0xFEFF);
}

TEST(DataStream, RefusesWordsThatAreNotWhollyThere) {
    const CDataStream stream(kFour, 3);
    EXPECT_EQ(stream.GetDataWordAt(1), 0x0302);
    EXPECT_THROW(stream.GetDataWord(1), std::out_of_range);
    EXPECT_THROW(stream.GetDataWordAt(3), std::out_of_range);
    EXPECT_THROW(stream.GetDataWordAt(kHuge), std::out_of_range);
    EXPECT_THROW(CDataStream().GetDataWord(0), std::out_of_range);
}

TEST(DataStream, RefusesWordIndexesThatWrapRound) {
    const CDataStream stream(kFour, 4);
    EXPECT_THROW(stream.GetDataWord(kHuge / 2 + 1), std::out_of_range);
    EXPECT_THROW(stream.GetDataWord(kHuge / 2), std::out_of_range);
    EXPECT_THROW(stream.GetDataWord(kHuge), std::out_of_range);
}

TEST(DataStream, CopiesHaveTheirOwnBytesAndRoom) {
    const CDataStream stream(kFour, 4);
    CDataStream copy(stream);
    copy[0] = 9;
    EXPECT_THAT(stream.Data(), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(copy.Data(), ElementsAre(9, 2, 3, 4));
    EXPECT_GE(copy.Data().capacity(), 32u);
    CDataStream assigned;
    assigned = stream;
    EXPECT_THAT(assigned.Data(), ElementsAre(1, 2, 3, 4));
    EXPECT_GE(assigned.Data().capacity(), 32u);
    assigned = *&assigned;
    EXPECT_THAT(assigned.Data(), ElementsAre(1, 2, 3, 4));
}

TEST(DataStream, MovesLeaveAUsableSource) {
    CDataStream source(kFour, 4);
    CDataStream moved(std::move(source));
    EXPECT_THAT(moved.Data(), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(source.DataSize(), 0u);
    EXPECT_GE(source.Data().capacity(), 32u);
    source.AppendDataByte(5);
    CDataStream target;
    target = std::move(source);
    EXPECT_THAT(target.Data(), ElementsAre(5));
    EXPECT_GE(source.Data().capacity(), 32u);
}

}  // namespace
