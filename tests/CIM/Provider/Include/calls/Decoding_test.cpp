#include "CIM/Provider/Include/calls/Decoding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace varnock::calls {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

CDataStream streamOf(const std::vector<unsigned char>& bytes) {
    return CDataStream(bytes.data(), bytes.size());
}

CDataStream streamOf(const std::string& bytes) {
    return streamOf(std::vector<unsigned char>(bytes.begin(), bytes.end()));
}

std::string dateOf(const char* text) {
    const Date date = manufactureDate(text);
    return date.null != 0 ? "null" : date.value.ascii().c_str();
}

TEST(Decoding, NothingIsZeroNullOrEmpty) {
    EXPECT_EQ(nothing<uint32>(), 0u);
    EXPECT_EQ(nothing<Text>().null, 1);
    EXPECT_EQ(nothing<Bytes>().null, 1);
    EXPECT_EQ(nothing<Date>().null, 1);
    EXPECT_THAT(nothing<std::vector<uint16>>(), IsEmpty());
}

TEST(Decoding, APropertyOfAValueIsNotNull) {
    const auto property = propertyOf<uint16>(0);
    EXPECT_EQ(property.null, 0);
    EXPECT_EQ(property.value, 0);
}

TEST(Decoding, NumbersAreLittleEndian) {
    CDataStream stream = streamOf(std::vector<unsigned char>{0x01, 0x82, 0x03, 0x84, 0x05});
    EXPECT_EQ(byteAt(stream, 1), 0x82);
    EXPECT_EQ(wordAt(stream, 1), 0x0382);
    EXPECT_EQ(dwordAt(stream, 0), 0x84038201u);
    EXPECT_EQ(dwordAt(stream, 1), 0x05840382u);
}

TEST(Decoding, NumbersPastTheEndAreZero) {
    CDataStream stream = streamOf(std::vector<unsigned char>{1, 2, 3, 4});
    CDataStream empty;
    for (const unsigned long offset : {4UL, 5UL, ~0UL, ~0UL - 1, ~0UL - 3}) {
        EXPECT_EQ(byteAt(stream, offset), 0) << offset;
        EXPECT_EQ(wordAt(stream, offset), 0) << offset;
        EXPECT_EQ(dwordAt(stream, offset), 0u) << offset;
    }
    EXPECT_EQ(wordAt(stream, 3), 0);
    EXPECT_EQ(dwordAt(stream, 1), 0u);
    EXPECT_EQ(byteAt(empty, 0), 0);
    EXPECT_EQ(wordAt(empty, 0), 0);
    EXPECT_EQ(dwordAt(empty, 0), 0u);
    EXPECT_EQ(stream.DataSize(), 4u);
}

TEST(Decoding, ShortStreamsHaveNoFirstOrSecond) {
    CDataStream one = streamOf(std::vector<unsigned char>{7});
    CDataStream three = streamOf(std::vector<unsigned char>{7, 8, 9});
    EXPECT_EQ(firstByte(one), 7);
    EXPECT_EQ(secondByte(one), 0);
    EXPECT_EQ(firstWord(one), 0);
    EXPECT_EQ(firstWord(three), 0x0807);
    EXPECT_EQ(secondWord(three), 0);
}

TEST(Decoding, WordsAreTheCompleteOnes) {
    CDataStream odd = streamOf(std::vector<unsigned char>{1, 2, 3, 4, 5});
    CDataStream one = streamOf(std::vector<unsigned char>{1});
    EXPECT_THAT(words(odd), ElementsAre(0x0201, 0x0403));
    EXPECT_THAT(words(one), IsEmpty());
}

TEST(Decoding, ATextEndsAtItsNulOrAtTheEnd) {
    const CDataStream stream = streamOf(std::string("ab\0cd", 5));
    EXPECT_EQ(textAt(stream, 0, 5), "ab");
    EXPECT_EQ(textAt(stream, 3, 5), "cd");
    EXPECT_EQ(textAt(stream, 3, 4), "c");
    EXPECT_EQ(textAt(stream, 2, 5), "");
    EXPECT_EQ(textAt(stream, 5, 5), "");
}

TEST(Decoding, AnAddressKeepsEveryByteWhateverItsLength) {
    const Bytes bytes = addressBytes(streamOf(std::vector<unsigned char>{0, 255, 0}));
    ASSERT_EQ(bytes.null, 0);
    ASSERT_EQ(bytes.value.size(), 3u);
    EXPECT_EQ(bytes.value[1], 255);
    const Bytes empty = addressBytes(CDataStream());
    EXPECT_EQ(empty.null, 0);
    EXPECT_EQ(empty.value.size(), 0u);
}

TEST(Decoding, AMacAddressIsTheFirstSixBytesInUpperCase) {
    const auto text = [](const std::vector<unsigned char>& bytes) {
        const Text mac = macAddress(streamOf(bytes));
        return mac.null != 0 ? std::string("null") : std::string(mac.value.c_str());
    };
    EXPECT_EQ(text({0x00, 0x1B, 0xab, 0xCD, 0xEF, 0x09, 0x77}), "001BABCDEF09");
    EXPECT_EQ(text({0xA0, 0, 1}), "A00001");
    EXPECT_EQ(text({0, 0, 0, 0, 0, 0}), "null");
    EXPECT_EQ(text({0, 0, 0, 0, 0, 0, 1}), "null");
    EXPECT_EQ(text({0, 0}), "null");
    EXPECT_EQ(text({}), "null");
    EXPECT_EQ(text({0, 0, 0, 0, 0, 1}), "000000000001");
}

TEST(Decoding, LinesAreTheTextsOfAList) {
    const auto text = [](const std::string& bytes) {
        CDataStream stream = streamOf(bytes);
        const Text joined = lines(stream);
        return joined.null != 0 ? std::string("null") : std::string(joined.value.c_str());
    };
    EXPECT_EQ(text(std::string("ab\0cd\0\0", 7)), "ab\ncd");
    EXPECT_EQ(text(std::string("ab\0cd", 5)), "ab\ncd");
    EXPECT_EQ(text(std::string("ab\0", 3)), "ab");
    EXPECT_EQ(text(std::string("ab\0\0cd\0", 7)), "ab\n\ncd");
    EXPECT_EQ(text(std::string("\0\0", 2)), "");
    EXPECT_EQ(text(""), "null");
}

TEST(Decoding, ADateOfManufactureComesInFourForms) {
    EXPECT_EQ(dateOf("20190304"), "20190304000000.000000+000");
    EXPECT_EQ(dateOf("2019-03-04"), "20190304000000.000000+000");
    EXPECT_EQ(dateOf("2019/03/04"), "20190304000000.000000+000");
    EXPECT_EQ(dateOf("20190304112233.445566+060"), "20190304112233.445566+060");
    EXPECT_EQ(dateOf("00000001020304.000005:000"), "00000001020304.000005:000");
    EXPECT_EQ(dateOf("20200229"), "20200229000000.000000+000");
}

TEST(Decoding, OtherTextsAreNoDateOfManufacture) {
    for (const char* text :
         {"", "2019", "2019-03/04", "2019.03.04", "2019-03-04 ", "04.03.2019", "2019-3-4", "201903",
          "20190304112233", "abcdefgh", "2019x304", "-2019034", "unknown",
          "20190304112233,445566+060", "20190304112233.445566Z060", "20190304112233.445566+06",
          "2019030411223\xFC.445566+060"}) {
        EXPECT_EQ(dateOf(text), "null") << text;
    }
}

TEST(Decoding, ADayThatTheCalendarDoesNotHaveIsNoDateOfManufacture) {
    for (const char* text :
         {"20190229", "20191301", "20190001", "20190100", "2019-04-31", "2019/12/32", "00000000"}) {
        EXPECT_EQ(dateOf(text), "null") << text;
    }
}

TEST(Decoding, ADateBeforeTheEpochIsNull) {
    EXPECT_EQ(dateOf("19690101"), "null");
    EXPECT_EQ(dateOf("19600101000000.000000+000"), "null");
}

TEST(Decoding, ADateWithAnEmbeddedNulIsNull) {
    EXPECT_EQ(manufactureDate(cimple::String("2019\0"
                                             "304",
                                             8))
                  .null,
              1);
}

}  // namespace
}  // namespace varnock::calls
