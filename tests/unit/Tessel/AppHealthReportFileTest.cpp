#include "mac/Tessel/Health/AppHealthReportFile.h"

#include "mac/Tessel/Health/AppHealthJSON.h"
#include "mac/Tessel/Health/AppHealthValidationError.h"
#include "mac/Tessel/Values/Uuid.h"
#include "platform/testing/InMemorySystem.h"
#include "tests/unit/Tessel/HealthFixtures.h"

#include <gmock/gmock.h>

#include <set>

namespace {

using health_fixtures::reportAt;
using tessel::AppHealthReportFile;
using testing::ElementsAre;

constexpr std::string_view uuid = "00112233-4455-4677-8899-AABBCCDDEEFF";

TEST(AppHealthReportFile, isNamedAfterItsTimeAndItsBytes) {
    auto report = reportAt(0);
    report.generatedAt = "2026-11-21T04:05:06.078Z";
    EXPECT_EQ(AppHealthReportFile::keyOf(report, "abc"), "20261121040506078-ba7816bf8f01cfea");
}

TEST(AppHealthReportFile, hasThreeDigitsOfMillisecondsWhateverTheReportHas) {
    auto report = reportAt(0);
    for (const auto& [date, key] : std::map<std::string, std::string>{
             {"2026-11-21T04:05:06Z", "20261121040506000-"},
             {"2026-11-21T04:05:06.5Z", "20261121040506500-"},
             {"2026-11-21T04:05:06.078999999Z", "20261121040506078-"},
             {"0000-01-01T00:00:00Z", "00000101000000000-"},
             {"9999-12-31T23:59:59.999Z", "99991231235959999-"}}) {
        report.generatedAt = date;
        EXPECT_EQ(AppHealthReportFile::keyOf(report, "").substr(0, 18), key) << date;
    }
}

TEST(AppHealthReportFile, hasNoKeyWithoutADate) {
    auto report = reportAt(0);
    report.generatedAt = "2026-13-01T00:00:00Z";
    try {
        static_cast<void>(AppHealthReportFile::keyOf(report, ""));
        FAIL() << "a key without a date";
    } catch (const tessel::AppHealthValidationError& error) {
        EXPECT_THAT(error.errors(), ElementsAre("bad generatedAt"));
    }
}

TEST(AppHealthReportFile, isToldFromForeignFilesByItsName) {
    const auto report = reportAt(0);
    const auto key = AppHealthReportFile::keyOf(report, tessel::AppHealthJSON::storedData(report));
    EXPECT_TRUE(AppHealthReportFile::isName(AppHealthReportFile::nameOf(key)));
    EXPECT_TRUE(AppHealthReportFile::isName("00000000000000000-0000000000000000.json"));
    for (const auto* name : {
             "notes.json",
             "",
             ".json",
             "20261121040506078-ba7816bf8f01cfea",
             "20261121040506078-ba7816bf8f01cfea.JSON",
             "20261121040506078-ba7816bf8f01cfea.jsonx",
             "20261121040506078-BA7816BF8F01CFEA.json",
             "20261121040506078-ba7816bf8f01cfeg.json",
             "20261121040506078_ba7816bf8f01cfea.json",
             "2026112104050607a-ba7816bf8f01cfea.json",
             "2026112104050607-ba7816bf8f01cfeaa.json",
             "0261121040506078-ba7816bf8f01cfea.json",
             "20261121040506078-ba7816bf8f01cfe.json",
             "20261121040506078-ba7816bf8f01cfeaa.json",
             " 0261121040506078-ba7816bf8f01cfea.json",
             ".20261121040506078-ba7816bf8f01cfea.json.tmp-00112233-4455-4677-8899-AABBCCDDEEFF",
         }) {
        EXPECT_FALSE(AppHealthReportFile::isName(name)) << name;
    }
}

TEST(AppHealthReportFile, isToldFromItsTemporaryForms) {
    const auto name = AppHealthReportFile::temporaryName("latest.json", uuid);
    EXPECT_EQ(name, ".latest.json.tmp-00112233-4455-4677-8899-AABBCCDDEEFF");
    EXPECT_EQ(AppHealthReportFile::temporaryFor(name), "latest.json");
    for (const auto* other : {
             "",
             "latest.json",
             ".tmp-00112233-4455-4677-8899-AABBCCDDEEFF",
             "latest.json.tmp-00112233-4455-4677-8899-AABBCCDDEEFF",
             ".latest.json.tmp-00112233-4455-4677-8899-aabbccddeeff",
             ".latest.json.tmp-00112233-4455-1677-8899-AABBCCDDEEFF",
             ".latest.json.tmp-00112233-4455-4677-7899-AABBCCDDEEFF",
             ".latest.json.tmp-00112233445546778899AABBCCDDEEFF----",
             ".latest.json.tmp-00112233-4455-4677-8899-AABBCCDDEEFF0",
             ".latest.json.new-00112233-4455-4677-8899-AABBCCDDEEFF",
         }) {
        EXPECT_EQ(AppHealthReportFile::temporaryFor(other), "") << other;
    }
}

TEST(Uuid, isOfVersionFourInUpperCase) {
    platform::testing::FakeRandomSource random;
    EXPECT_EQ(tessel::randomUuid(random), "00010203-0405-4607-8809-0A0B0C0D0E0F");
    random.next = 0xF0;
    EXPECT_EQ(tessel::randomUuid(random), "F0F1F2F3-F4F5-46F7-B8F9-FAFBFCFDFEFF");
}

TEST(Uuid, ofEveryDrawIsRecognised) {
    platform::testing::FakeRandomSource random;
    std::set<std::string> seen;
    for (int draw = 0; draw < 16; ++draw) {
        const auto drawn = tessel::randomUuid(random);
        ASSERT_TRUE(drawn);
        EXPECT_TRUE(tessel::isRandomUuid(*drawn)) << *drawn;
        seen.insert(*drawn);
    }
    EXPECT_EQ(seen.size(), 16U);
}

TEST(Uuid, isAbsentWhenTheGeneratorFails) {
    platform::testing::FakeRandomSource random;
    random.fails = true;
    EXPECT_EQ(tessel::randomUuid(random), std::nullopt);
}

} // namespace
