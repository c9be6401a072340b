#include "cli/output/Csv.h"

#include <gtest/gtest.h>

namespace varnockctl {
namespace {

std::string csvOf(const char* json) {
    JsonDocument document;
    document.Parse(json);
    EXPECT_FALSE(document.HasParseError());
    return toCsv(document);
}

TEST(Csv, HasTheNamesInItsFirstRow) {
    EXPECT_EQ(csvOf(R"([{"name":"a","size":5},{"name":"b","size":null},{"size":7}])"),
              "name,size\na,5\nb,\n,7\n");
    EXPECT_EQ(csvOf(R"({"name":"a","flag":true})"), "name,flag\na,true\n");
    EXPECT_EQ(csvOf("[]"), "");
    EXPECT_EQ(csvOf("[1,2]"), "value\n1\n2\n");
    EXPECT_EQ(csvOf("\"text\""), "value\ntext\n");
    EXPECT_EQ(csvOf("null"), "value\n\n");
}

TEST(Csv, QuotesWhatNeedsIt) {
    EXPECT_EQ(csvOf(R"([{"a":"x,y","b":"say \"hi\"","c":"two\nlines"}])"),
              "a,b,c\n\"x,y\",\"say \"\"hi\"\"\",two\\x0Alines\n");
}

TEST(Csv, HasOneValueInACell) {
    EXPECT_EQ(csvOf(R"([{"a":1,"d":[1,2]},{"a":2,"d":[3],"key":{"object":4}}])"),
              "a,d[0],d[1],key.object\n1,1,2,\n2,3,,4\n");
    EXPECT_EQ(csvOf("[[1,2],[3]]"), "[0],[1]\n1,2\n3,\n");
}

TEST(Csv, AnObjectWithListsOfObjectsHasARowForEachValue) {
    EXPECT_EQ(csvOf(R"({"name":"x","fans":[{"speed":1},{"speed":null}]})"),
              "path,value\nname,x\nfans[0].speed,1\nfans[1].speed,\n");
}

TEST(Csv, TheItemsOfAStreamHaveTheColumnsOfTheirMembers) {
    JsonDocument item;
    item.Parse(R"({"event":"x","data":[1,2]})");
    EXPECT_EQ(csvItem(item, true), "event,data\nx,\"[1,2]\"\n");
    EXPECT_EQ(csvItem(item, false), "x,\"[1,2]\"\n");
    EXPECT_EQ(csvItem(Json(1), true), "value\n1\n");
}

}  // namespace
}  // namespace varnockctl
