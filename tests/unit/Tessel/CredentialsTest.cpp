#include "mac/Tessel/State/Credentials.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using tessel::Credentials;
using tessel::credentialsText;
using tessel::decodeCredentials;
using tessel::parseTimestamp;

Credentials linked() {
    return {.token = "secret",
            .serverOrigin = "https://account.example:8443",
            .tokenName = "Zorvane on Studio",
            .linkedAt = *parseTimestamp("2025-01-31T09:12:44Z")};
}

std::string with(const std::string& linkedAt) {
    return R"({"token":"t","serverOrigin":"o","tokenName":"n","linkedAt":)" + linkedAt + "}";
}

TEST(Credentials, areWrittenPrettyWithSortedKeys) {
    EXPECT_EQ(credentialsText(linked()), "{\n"
                                         "  \"linkedAt\": \"2025-01-31T09:12:44Z\",\n"
                                         "  \"serverOrigin\": \"https://account.example:8443\",\n"
                                         "  \"token\": \"secret\",\n"
                                         "  \"tokenName\": \"Zorvane on Studio\"\n"
                                         "}");
}

TEST(Credentials, decodeBackToAnEqualRecord) {
    auto credentials = linked();
    EXPECT_EQ(decodeCredentials(*credentialsText(credentials)), credentials);
    credentials.token = std::string("q\"b\\n\n\0z", 8) + "\u00e9\U0001f600";
    credentials.tokenName = "";
    EXPECT_EQ(decodeCredentials(*credentialsText(credentials)), credentials);
}

TEST(Credentials, loseOnlyTheFractionOfTheSecond) {
    auto credentials = linked();
    credentials.linkedAt += std::chrono::milliseconds(999);
    EXPECT_EQ(decodeCredentials(*credentialsText(credentials)), linked());
}

TEST(Credentials, haveNoTextWhenJsonCannotSayThem) {
    auto credentials = linked();
    credentials.tokenName = "\xff";
    EXPECT_EQ(credentialsText(credentials), std::nullopt);
    credentials = linked();
    credentials.linkedAt = *parseTimestamp("9999-12-31T23:59:59Z") + std::chrono::seconds(1);
    EXPECT_EQ(credentialsText(credentials), std::nullopt);
}

TEST(Credentials, needAllFourKeysWithTheirTypes) {
    const std::string good = R"("token":"t","serverOrigin":"o","tokenName":"n")";
    const std::string date = R"("linkedAt":"2025-01-31T09:12:44Z")";
    EXPECT_TRUE(decodeCredentials("{" + good + "," + date + "}"));
    EXPECT_TRUE(decodeCredentials("{" + good + "," + date + R"(,"more":[1,{"a":null}]})"));
    for (const std::string& bad : std::vector<std::string>{
             "{" + good + "}", R"({"serverOrigin":"o","tokenName":"n",)" + date + "}",
             R"({"token":"t","tokenName":"n",)" + date + "}",
             R"({"token":"t","serverOrigin":"o",)" + date + "}",
             R"({"token":1,"serverOrigin":"o","tokenName":"n",)" + date + "}",
             R"({"token":"t","serverOrigin":null,"tokenName":"n",)" + date + "}",
             R"({"token":"t","serverOrigin":"o","tokenName":["n"],)" + date + "}",
             "[{" + good + "," + date + "}]", "{" + good + "," + date + "} x",
             "{" + good + "," + date, std::string("null"), std::string(),
             "{\"token\":\"\xff\",\"serverOrigin\":\"o\",\"tokenName\":\"n\"," + date + "}",
             R"({"token":"\ud800","serverOrigin":"o","tokenName":"n",)" + date + "}"}) {
        EXPECT_EQ(decodeCredentials(bad), std::nullopt) << bad;
    }
}

TEST(Credentials, takeTheLastOfARepeatedKey) {
    const auto credentials =
        decodeCredentials(R"({"token":"first","serverOrigin":"o","tokenName":"n",)"
                          R"("linkedAt":"2025-01-31T09:12:44Z","token":"last"})");
    ASSERT_TRUE(credentials);
    EXPECT_EQ(credentials->token, "last");
}

TEST(Credentials, readDatesWithAnOffsetButWithoutAFraction) {
    const auto offset = decodeCredentials(with(R"("2025-01-31T11:12:44+02:00")"));
    ASSERT_TRUE(offset);
    EXPECT_EQ(offset->linkedAt, linked().linkedAt);
    for (const std::string& bad : std::vector<std::string>{
             R"("2025-01-31T09:12:44.123Z")", R"("tomorrow")", R"("2025-02-30T09:12:44Z")",
             R"("2025-01-31 09:12:44")", R"("2025-01-31")", R"("")", "1738314764", "null"}) {
        EXPECT_EQ(decodeCredentials(with(bad)), std::nullopt) << bad;
    }
}

TEST(Credentials, areRefusedQuicklyWhenTheyAreNestedWithoutEnd) {
    EXPECT_EQ(decodeCredentials(std::string(5'000'000, '[')), std::nullopt);
    std::string deep = R"({"a":)" + std::string(400, '[') + std::string(400, ']') + "," +
                       with(R"("2025-01-31T09:12:44Z")").substr(1);
    EXPECT_TRUE(decodeCredentials(deep));
}

} // namespace
