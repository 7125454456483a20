// The findings table against the diagnostic's keys: every row of every group read as a problem,
// as fine and as not checked; the values, the reasons and the verdict; and every key the shipped
// runs print covered by a row.

#include "ReportProfiles.h"

#include "unittests/support/ExpectedTestOrder.h"

#include "host/report/Findings.h"
#include "host/report/FindingsTable.h"
#include "host/report/Strings.h"

#include "platform/foundation/JsonReader.h"

#include <QDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>

namespace {

using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;
using report::Finding;
using report::FindingRow;
using report::Group;
using report::ProblemWhen;
using report::Severity;
using report::ValueForm;
using report::Verdict;

std::string str(const QString& s) {
    return s.toStdString();
}

QString key(const char* k) {
    return QString::fromLatin1(k);
}

unsigned bitOf(Group group) {
    switch (group) {
        case Group::Device:
            return report::kInDevice;
        case Group::CurrentNetwork:
            return report::kInCurrent;
        case Group::SelectedNetwork:
            return report::kInSelected;
    }
    return 0;
}

// A printed result with the three groups.
Value resultOf(DictionaryRef device, DictionaryRef current, DictionaryRef selected,
               std::int64_t statusCode = 0) {
    return Value::dictionary(Dictionary::make({
        {QStringLiteral("statusCode"), Value::integer(statusCode)},
        {QStringLiteral("data"),
         Value::dictionary(Dictionary::make({
             {QStringLiteral("device"), Value::dictionary(device ? device : Dictionary::make())},
             {QStringLiteral("currentNetwork"), Value::dictionary(current ? current : Dictionary::make())},
             {QStringLiteral("selectedNetwork"), Value::dictionary(selected ? selected : Dictionary::make())},
         }))},
    }));
}

// The configuration a request of the group carries: the selected network's names it.
DictionaryRef configurationOf(bool selected) {
    auto configuration = Dictionary::make({{QStringLiteral("MaxScanCacheAge"), Value::integer(10)}});
    if (selected) {
        configuration->set(QStringLiteral("NetworkName"), Value::string(QStringLiteral("Lab")));
    }
    return configuration;
}

report::ServiceAnswer errorAnswer(std::int64_t testID, bool selected, std::int64_t code,
                                  const QString& text) {
    report::ServiceAnswer a;
    a.testID = testID;
    a.configuration = configurationOf(selected);
    a.errorCode = code;
    a.errorText = text;
    return a;
}

report::ServiceAnswer resultAnswer(std::int64_t testID, bool selected, bool result) {
    report::ServiceAnswer a;
    a.testID = testID;
    a.configuration = configurationOf(selected);
    a.answer = Dictionary::make({{QStringLiteral("result"), Value::boolean(result)},
                                 {QStringLiteral("didPass"), Value::boolean(!result)}});
    return a;
}

// The flag value a row reads as truth: "foundScanResults" is the one integer flag.
Value flagValue(const FindingRow& row, bool truth) {
    return key(row.key) == QLatin1String("foundScanResults") ? Value::integer(truth ? 1 : 0)
                                                             : Value::boolean(truth);
}

// Plausible details of a row, as the diagnostic writes them.
void putDetails(const FindingRow& row, Dictionary& data) {
    for (const char* detail : row.details) {
        if (!detail) {
            break;
        }
        const QString k = key(detail);
        switch (row.form) {
            case ValueForm::Signal:
                data.set(k, Value::integer(k == QLatin1String("RSSI") ? -81 : -90));
                break;
            case ValueForm::Ping:
                data.set(k, Value::dictionary(Dictionary::make({
                                {QStringLiteral("SSID"), Value::string(QStringLiteral("wlan0"))},
                                {QStringLiteral("count"), Value::integer(10)},
                                {QStringLiteral("packetLoss"), Value::number(10.0)},
                                {QStringLiteral("min"), Value::number(1.0)},
                                {QStringLiteral("max"), Value::number(9.0)},
                                {QStringLiteral("avg"), Value::number(4.25)},
                                {QStringLiteral("stddev"), Value::number(2.0)},
                            })));
                break;
            case ValueForm::Modes:
                data.set(k, Value::array(platform::makeArray({Value::string(QStringLiteral("802.11n")),
                                                              Value::string(QStringLiteral("802.11ac"))})));
                break;
            case ValueForm::Security:
                data.set(k, Value::integer(3));
                break;
            case ValueForm::Number:
            case ValueForm::Channel:
                data.set(k, Value::integer(36));
                break;
            case ValueForm::Text:
                data.set(k, Value::string(QStringLiteral("Manual")));
                break;
            case ValueForm::None:
                data.set(k, Value::dictionary(Dictionary::make({{QStringLiteral("SSID"), Value::null()}})));
                break;
        }
    }
}

// A profile with one group holding the given keys; the selected network's group also holds
// another key, so that it counts as examined.
report::Profile profileWith(Group group, DictionaryRef data) {
    report::Profile profile;
    DictionaryRef device, current, selected;
    switch (group) {
        case Group::Device:
            device = data;
            break;
        case Group::CurrentNetwork:
            current = data;
            break;
        case Group::SelectedNetwork:
            selected = data;
            break;
    }
    profile.result = resultOf(device, current, selected);
    return profile;
}

const Finding* findingOf(const report::Findings& findings, Group group, const QString& flagKey) {
    for (const Finding& f : findings.items) {
        if (f.group == group && f.key == flagKey) {
            return &f;
        }
    }
    return nullptr;
}

// A missing strings-table key shows as "[key]".
void expectNoMissingText(const Finding& f) {
    static const QRegularExpression missing(QStringLiteral("\\[[a-zA-Z]+\\.[A-Za-z0-9_.]+\\]"));
    for (const QString& t : {f.title, f.value, f.threshold, f.meaning, f.advice, f.reason}) {
        EXPECT_FALSE(missing.match(t).hasMatch()) << str(f.key) << ": " << str(t);
    }
}

// ---- every row of every group -------------------------------------------------------------------

struct RowCase {
    const FindingRow* row;
    Group group;
};

std::vector<RowCase> allRowCases() {
    std::vector<RowCase> cases;
    for (const Group group : {Group::Device, Group::CurrentNetwork, Group::SelectedNetwork}) {
        for (const FindingRow& row : report::findingRows()) {
            if (row.groups & bitOf(group)) {
                cases.push_back({&row, group});
            }
        }
    }
    return cases;
}

void PrintTo(const RowCase& c, std::ostream* os) {
    *os << str(report::groupKey(c.group)) << "." << c.row->key;
}

class RowTest : public ::testing::TestWithParam<RowCase> {};

TEST_P(RowTest, ProblemValue) {
    const FindingRow& row = *GetParam().row;
    const Group group = GetParam().group;
    const bool truth = row.problemWhen != ProblemWhen::False;  // an information row: true
    auto data = Dictionary::make({{key(row.key), flagValue(row, truth)}});
    putDetails(row, *data);
    const report::Findings findings = report::findingsOf(profileWith(group, data));
    const Finding* f = findingOf(findings, group, key(row.key));
    ASSERT_NE(f, nullptr);
    expectNoMissingText(*f);
    EXPECT_FALSE(f->title.isEmpty());
    EXPECT_EQ(str(f->meaning), str(report::text(key(truth ? row.meaningTrue : row.meaningFalse))));
    EXPECT_TRUE(f->reason.isEmpty());
    if (row.problemWhen == ProblemWhen::Never) {
        EXPECT_EQ(f->severity, Severity::Fine);
        EXPECT_TRUE(f->advice.isEmpty());
    } else {
        EXPECT_EQ(f->severity, row.severity);
        EXPECT_TRUE(row.severity == Severity::Problem || row.severity == Severity::Warning);
        EXPECT_EQ(str(f->advice), str(report::text(key(row.advice))));
        EXPECT_FALSE(f->advice.isEmpty());
        EXPECT_EQ(findings.verdict, row.connectivity ? Verdict::NotWorking : Verdict::Incomplete)
            << "one problem and every other key absent";
    }
    EXPECT_EQ(f->value.isEmpty(), row.form == ValueForm::None) << str(f->value);
    EXPECT_EQ(f->threshold.isEmpty(), row.threshold == nullptr);
}

TEST_P(RowTest, FineValue) {
    const FindingRow& row = *GetParam().row;
    const Group group = GetParam().group;
    const bool truth = row.problemWhen == ProblemWhen::False;  // an information row: false
    auto data = Dictionary::make({{key(row.key), flagValue(row, truth)}});
    putDetails(row, *data);
    const report::Findings findings = report::findingsOf(profileWith(group, data));
    const Finding* f = findingOf(findings, group, key(row.key));
    ASSERT_NE(f, nullptr);
    expectNoMissingText(*f);
    EXPECT_EQ(f->severity, Severity::Fine);
    EXPECT_TRUE(f->advice.isEmpty());
    EXPECT_TRUE(f->reason.isEmpty());
    EXPECT_EQ(str(f->meaning), str(report::text(key(truth ? row.meaningTrue : row.meaningFalse))));
    EXPECT_FALSE(f->meaning.isEmpty());
    EXPECT_EQ(f->value.isEmpty(), row.form == ValueForm::None) << str(f->value);
}

TEST_P(RowTest, NotCheckedWithTheServiceError) {
    const FindingRow& row = *GetParam().row;
    const Group group = GetParam().group;
    const QString error = QStringLiteral("WiFiDiagnostics error 95: %1 needs nl80211").arg(key(row.logTitle));
    report::Profile profile = profileWith(group, Dictionary::make());
    profile.answers.push_back(errorAnswer(row.testID, group == Group::SelectedNetwork, 95, error));
    // The same test answered for the other network: its answer must not be taken for this one.
    const bool other =
        group == Group::CurrentNetwork ? (row.groups & report::kInSelected) : group == Group::SelectedNetwork;
    if (other) {
        profile.answers.push_back(resultAnswer(row.testID, group == Group::CurrentNetwork, false));
    }
    const report::Findings findings = report::findingsOf(profile);
    const Finding* f = findingOf(findings, group, key(row.key));
    ASSERT_NE(f, nullptr);
    expectNoMissingText(*f);
    EXPECT_EQ(f->severity, Severity::NotChecked);
    EXPECT_EQ(str(f->reason), str(error));
    EXPECT_TRUE(f->value.isEmpty());
    EXPECT_TRUE(f->advice.isEmpty());
    EXPECT_EQ(findings.verdict, Verdict::Incomplete);
}

TEST_P(RowTest, NotCheckedFromTheLogWhenNoAnswerWasKept) {
    const FindingRow& row = *GetParam().row;
    const Group group = GetParam().group;
    auto data = Dictionary::make({{QStringLiteral("unrelated"), Value::boolean(true)}});
    report::Profile profile = profileWith(group, data);
    profile.log.push_back(report::LogLine{
        3, 3,
        QStringLiteral("[ERROR] - Wi-Fi Profile: %1 failed with error: WiFiDiagnostics error 5: timed out")
            .arg(key(row.logTitle))});
    const report::Findings findings = report::findingsOf(profile);
    const Finding* f = findingOf(findings, group, key(row.key));
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->severity, Severity::NotChecked);
    EXPECT_EQ(str(f->reason), "WiFiDiagnostics error 5: timed out");
}

TEST_P(RowTest, UnreadableFlagIsNotChecked) {
    const FindingRow& row = *GetParam().row;
    const Group group = GetParam().group;
    auto data = Dictionary::make({{key(row.key), Value::string(QStringLiteral("yes"))}});
    const report::Findings findings = report::findingsOf(profileWith(group, data));
    const Finding* f = findingOf(findings, group, key(row.key));
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->severity, Severity::NotChecked);
    EXPECT_EQ(str(f->reason),
              str(report::text(QStringLiteral("reason.unreadable"), {QStringLiteral("\"yes\"")})));
}

INSTANTIATE_TEST_SUITE_P(EveryRow, RowTest, ::testing::ValuesIn(allRowCases()),
                         [](const ::testing::TestParamInfo<RowCase>& info) {
                             return str(report::groupKey(info.param.group)) + "_" + info.param.row->key;
                         });

// ---- the table against the diagnostic's groups ----------------------------------------------------

std::vector<std::int64_t> testIDsIn(unsigned groupBit) {
    std::vector<std::int64_t> ids;
    for (const FindingRow& row : report::findingRows()) {
        if ((row.groups & groupBit) && !row.onlySomeRuns) {
            ids.push_back(row.testID);
        }
    }
    return ids;
}

TEST(FindingsTable, HasOneRowPerTestOfEachGroupInTheOrderTheyRun) {
    EXPECT_EQ(testIDsIn(report::kInDevice), testsupport::kDeviceTestIDs);
    EXPECT_EQ(testIDsIn(report::kInCurrent), testsupport::kCurrentNetworkTestIDs);
    std::vector<std::int64_t> selected = testIDsIn(report::kInSelected);
    std::vector<std::int64_t> expected = testsupport::kSelectedNetworkTestIDs;
    std::sort(selected.begin(), selected.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(selected, expected);
    // The one row outside the groups: the network list's scan (test 31) in the joined network's.
    int onlySome = 0;
    for (const FindingRow& row : report::findingRows()) {
        if (row.onlySomeRuns) {
            ++onlySome;
            EXPECT_EQ(row.testID, 31);
            EXPECT_EQ(row.groups, report::kInCurrent);
        }
    }
    EXPECT_EQ(onlySome, 1);
}

TEST(FindingsTable, FlagKeysAreDistinctWithinAGroup) {
    for (const unsigned bit : {report::kInDevice, report::kInCurrent, report::kInSelected}) {
        std::set<std::string> keys;
        for (const FindingRow& row : report::findingRows()) {
            if (row.groups & bit) {
                EXPECT_TRUE(keys.insert(row.key).second) << row.key;
            }
        }
    }
}

TEST(FindingsTable, EveryRowHasItsTextsAndOnlyProblemRowsHaveAdvice) {
    for (const FindingRow& row : report::findingRows()) {
        EXPECT_NE(row.title, nullptr) << row.key;
        EXPECT_NE(row.meaningTrue, nullptr) << row.key;
        EXPECT_NE(row.meaningFalse, nullptr) << row.key;
        EXPECT_NE(row.logTitle, nullptr) << row.key;
        EXPECT_EQ(row.advice != nullptr, row.problemWhen != ProblemWhen::Never) << row.key;
        EXPECT_EQ(row.form == ValueForm::None && row.details[0] == nullptr, row.details[0] == nullptr)
            << row.key;
        if (row.problemWhen == ProblemWhen::Never) {
            EXPECT_EQ(row.severity, Severity::Fine) << row.key;
            EXPECT_FALSE(row.connectivity) << row.key;
        }
    }
}

// ---- the golden runs' keys ---------------------------------------------------------------------

TEST(FindingsTable, CoversEveryKeyTheShippedRunsPrint) {
    const QDir dir(reporttest::sourcePath(QStringLiteral("unittests/golden")));
    const QStringList files = dir.entryList({QStringLiteral("*.result.json")}, QDir::Files, QDir::Name);
    ASSERT_FALSE(files.isEmpty());
    int keysSeen = 0;
    for (const QString& file : files) {
        const Value result = platform::parseJson(reporttest::readFile(dir.filePath(file)));
        const auto data = result.toDictionary()->value(QStringLiteral("data"));
        ASSERT_TRUE(data && data->kind() == Value::Kind::Dictionary) << str(file);
        for (const Group group : {Group::Device, Group::CurrentNetwork, Group::SelectedNetwork}) {
            const auto groupData = data->toDictionary()->value(report::groupKey(group));
            ASSERT_TRUE(groupData && groupData->kind() == Value::Kind::Dictionary) << str(file);
            for (const QString& k : groupData->toDictionary()->keys()) {
                ++keysSeen;
                bool covered = false;
                for (const FindingRow& row : report::findingRows()) {
                    if (!(row.groups & bitOf(group))) {
                        continue;
                    }
                    covered = covered || k == QLatin1String(row.key);
                    for (const char* detail : row.details) {
                        covered = covered || (detail && k == QLatin1String(detail));
                    }
                }
                EXPECT_TRUE(covered) << str(file) << ": " << str(report::groupKey(group)) << "." << str(k)
                                     << " has no row of the findings table";
            }
        }
    }
    EXPECT_GT(keysSeen, 100);
}

TEST(Findings, GoldenRunsGiveAFindingForEveryFlagTheyPrint) {
    for (const reporttest::GoldenCase& golden : reporttest::kGoldenCases) {
        const report::Profile profile = reporttest::goldenProfile(golden);
        const report::Findings findings = report::findingsOf(profile);
        for (const Group group : {Group::Device, Group::CurrentNetwork, Group::SelectedNetwork}) {
            const DictionaryRef data = profile.group(report::groupKey(group));
            ASSERT_TRUE(data) << golden.name;
            for (const FindingRow& row : report::findingRows()) {
                if (!(row.groups & bitOf(group)) || !data->contains(key(row.key))) {
                    continue;
                }
                const Finding* f = findingOf(findings, group, key(row.key));
                ASSERT_NE(f, nullptr) << golden.name << " " << row.key;
                EXPECT_NE(f->severity, Severity::NotChecked) << golden.name << " " << row.key;
                expectNoMissingText(*f);
            }
        }
    }
}

TEST(Findings, OddAnswersRunNamesTheLoggedErrorsAndTheTestsThatAnsweredNothing) {
    const report::Profile profile = reporttest::goldenProfile(reporttest::kGoldenCases[2]);
    ASSERT_STREQ(reporttest::kGoldenCases[2].name, "odd-answers");
    const report::Findings findings = report::findingsOf(profile);
    const Finding* dns = findingOf(findings, Group::Device, QStringLiteral("isUsingCustomDNS"));
    ASSERT_NE(dns, nullptr);
    EXPECT_EQ(dns->severity, Severity::NotChecked);
    EXPECT_EQ(str(dns->reason), "WiFiDiagnostics error 5: test timed out");
    const Finding* wep = findingOf(findings, Group::CurrentNetwork, QStringLiteral("isUsingWEPSecurity"));
    ASSERT_NE(wep, nullptr);
    EXPECT_EQ(str(wep->reason), "WiFiDiagnostics error 2: no beacon");
    // Custom IPv6 logged only "Results not found.", which names no test.
    const Finding* ipv6 = findingOf(findings, Group::Device, QStringLiteral("isUsingCustomIPv6"));
    ASSERT_NE(ipv6, nullptr);
    EXPECT_EQ(ipv6->severity, Severity::NotChecked);
    EXPECT_EQ(str(ipv6->reason), str(report::text(QStringLiteral("reason.noAnswer"))));
    // The DNS lookup failed: the run's connection does not work.
    EXPECT_EQ(findings.verdict, Verdict::NotWorking);
    // No network was selected: that group is left out.
    for (const Finding& f : findings.items) {
        EXPECT_NE(f.group, Group::SelectedNetwork) << str(f.key);
    }
}

// ---- values -------------------------------------------------------------------------------------

QString valueOf(Group group, DictionaryRef data, const QString& flagKey) {
    const report::Findings findings = report::findingsOf(profileWith(group, data));
    const Finding* f = findingOf(findings, group, flagKey);
    return f ? f->value : QStringLiteral("(no finding)");
}

TEST(FindingValues, SignalWithAndWithoutNoise) {
    EXPECT_EQ(str(valueOf(Group::CurrentNetwork,
                          Dictionary::make({{QStringLiteral("hasPoorSignal"), Value::boolean(false)},
                                            {QStringLiteral("RSSI"), Value::integer(-54)},
                                            {QStringLiteral("noise"), Value::integer(-92)}}),
                          QStringLiteral("hasPoorSignal"))),
              "-54 dBm, noise -92 dBm, SNR 38 dB");
    EXPECT_EQ(str(valueOf(Group::SelectedNetwork,
                          Dictionary::make({{QStringLiteral("hasPoorSignal"), Value::boolean(true)},
                                            {QStringLiteral("RSSI"), Value::number(-80.5)}}),
                          QStringLiteral("hasPoorSignal"))),
              "-80.5 dBm");
    EXPECT_EQ(str(valueOf(Group::CurrentNetwork,
                          Dictionary::make({{QStringLiteral("hasPoorSignal"), Value::boolean(true)},
                                            {QStringLiteral("RSSI"), Value::number(std::nan(""))},
                                            {QStringLiteral("noise"), Value::integer(-87)}}),
                          QStringLiteral("hasPoorSignal"))),
              "noise -87 dBm");
}

TEST(FindingValues, PingAverageAndLossEvenWhenPartlyUnknown) {
    const auto ping = [](Value avg, Value loss) {
        return Dictionary::make(
            {{QStringLiteral("pingedLAN"), Value::boolean(true)},
             {QStringLiteral("pingLANResult"),
              Value::dictionary(
                  Dictionary::make({{QStringLiteral("avg"), avg}, {QStringLiteral("packetLoss"), loss}}))}});
    };
    EXPECT_EQ(str(valueOf(Group::CurrentNetwork, ping(Value::number(2.91), Value::number(0.0)),
                          QStringLiteral("pingedLAN"))),
              "2.9 ms average, 0% lost");
    EXPECT_EQ(str(valueOf(Group::CurrentNetwork, ping(Value::null(), Value::number(100.0)),
                          QStringLiteral("pingedLAN"))),
              "100% lost");
    EXPECT_EQ(str(valueOf(Group::CurrentNetwork,
                          ping(Value::number(std::numeric_limits<double>::infinity()), Value::null()),
                          QStringLiteral("pingedLAN"))),
              "");
}

TEST(FindingValues, SecurityCodingOrName) {
    const auto security = [](Value v) {
        return valueOf(Group::CurrentNetwork,
                       Dictionary::make({{QStringLiteral("isUsingOpenSecurity"), Value::boolean(false)},
                                         {QStringLiteral("security"), v}}),
                       QStringLiteral("isUsingOpenSecurity"));
    };
    EXPECT_EQ(str(security(Value::integer(0))), "open");
    EXPECT_EQ(str(security(Value::integer(4))), "WPA3 Personal (SAE)");
    EXPECT_EQ(str(security(Value::integer(9))), "9");
    EXPECT_EQ(str(security(Value::string(QStringLiteral("WPA2 Personal")))), "WPA2 Personal");
}

TEST(FindingValues, ChannelsCountsModesAndOddKinds) {
    EXPECT_EQ(str(valueOf(Group::CurrentNetwork,
                          Dictionary::make({{QStringLiteral("isChannelCongested"), Value::boolean(true)},
                                            {QStringLiteral("currentChannel"), Value::integer(11)}}),
                          QStringLiteral("isChannelCongested"))),
              "channel 11 (2.4 GHz)");
    EXPECT_EQ(str(valueOf(Group::SelectedNetwork,
                          Dictionary::make({{QStringLiteral("isChannelCongested"), Value::boolean(false)},
                                            {QStringLiteral("currentChannel"), Value::integer(-5)}}),
                          QStringLiteral("isChannelCongested"))),
              "channel -5")
        << "a number on no channel of either band";
    EXPECT_EQ(str(valueOf(Group::CurrentNetwork,
                          Dictionary::make({{QStringLiteral("is5GHzCongested"), Value::boolean(true)},
                                            {QStringLiteral("5GHzChannel"), Value::integer(149)},
                                            {QStringLiteral("2GHzChannel"), Value::integer(6)}}),
                          QStringLiteral("is5GHzCongested"))),
              "least crowded channel: 149");
    EXPECT_EQ(str(valueOf(Group::Device,
                          Dictionary::make({{QStringLiteral("isLargePairedBT"), Value::boolean(true)},
                                            {QStringLiteral("bluetoothPairedCount"), Value::integer(17)}}),
                          QStringLiteral("isLargePairedBT"))),
              "17 paired");
    EXPECT_EQ(str(valueOf(Group::CurrentNetwork,
                          Dictionary::make({{QStringLiteral("isBeaconIntervalLong"), Value::boolean(true)},
                                            {QStringLiteral("beaconInterval"), Value::number(1024.0)}}),
                          QStringLiteral("isBeaconIntervalLong"))),
              "1024 TU");
    // A null marker or an unexpected kind tells no number.
    EXPECT_EQ(str(valueOf(Group::CurrentNetwork,
                          Dictionary::make({{QStringLiteral("isDTIMIntervalLong"), Value::boolean(false)},
                                            {QStringLiteral("DTIMInterval"), Value::null()}}),
                          QStringLiteral("isDTIMIntervalLong"))),
              "");
    EXPECT_EQ(
        str(valueOf(Group::CurrentNetwork,
                    Dictionary::make(
                        {{QStringLiteral("hasConflictingPHYMode11AC"), Value::boolean(true)},
                         {QStringLiteral("supportedPHYModes"), Value::string(QStringLiteral("11b/g/n"))}}),
                    QStringLiteral("hasConflictingPHYMode11AC"))),
        "the access point offers 11b/g/n");
    EXPECT_EQ(
        str(valueOf(Group::CurrentNetwork,
                    Dictionary::make({{QStringLiteral("foundConflictingCountryCode"), Value::boolean(true)},
                                      {QStringLiteral("adoptedCountryCode"), Value::integer(840)}}),
                    QStringLiteral("foundConflictingCountryCode"))),
        "country in use: 840");
    EXPECT_EQ(str(valueOf(
                  Group::SelectedNetwork,
                  Dictionary::make({{QStringLiteral("isUsingAmbiguousNetworkName"), Value::boolean(true)},
                                    {QStringLiteral("networkName"), Value::string(QStringLiteral("%1 %2"))}}),
                  QStringLiteral("isUsingAmbiguousNetworkName"))),
              "\u201c%1 %2\u201d")
        << "a name holding places is shown as it is";
}

// ---- reasons ------------------------------------------------------------------------------------

TEST(FindingReasons, AnswerWithoutResultAndNoAnswerAtAll) {
    report::Profile profile =
        profileWith(Group::Device, Dictionary::make({{QStringLiteral("isLargePNL"), Value::boolean(false)}}));
    report::ServiceAnswer empty;
    empty.testID = 16;
    empty.configuration = configurationOf(false);
    profile.answers.push_back(empty);
    profile.answers.push_back(errorAnswer(17, false, 0, QStringLiteral("not an error")));
    const report::Findings findings = report::findingsOf(profile);
    const Finding* dns = findingOf(findings, Group::Device, QStringLiteral("isUsingCustomDNS"));
    ASSERT_NE(dns, nullptr);
    EXPECT_EQ(str(dns->reason), str(report::text(QStringLiteral("reason.noResult"))));
    // An error whose code is 0 is no error: the service answered without a result.
    const Finding* proxy = findingOf(findings, Group::Device, QStringLiteral("isUsingCustomWebProxy"));
    ASSERT_NE(proxy, nullptr);
    EXPECT_EQ(str(proxy->reason), str(report::text(QStringLiteral("reason.noResult"))));
    const Finding* ipv4 = findingOf(findings, Group::Device, QStringLiteral("isUsingCustomIPv4"));
    ASSERT_NE(ipv4, nullptr);
    EXPECT_EQ(str(ipv4->reason), str(report::text(QStringLiteral("reason.noAnswer"))));
}

TEST(FindingReasons, DeviceTestsAreFoundWhenTheirConfigurationNamesTheSelectedNetwork) {
    report::Profile profile = profileWith(Group::Device, Dictionary::make());
    profile.answers.push_back(
        errorAnswer(19, true, 95, QStringLiteral("WiFiDiagnostics error 95: no BlueZ on the bus")));
    const report::Findings findings = report::findingsOf(profile);
    const Finding* bt = findingOf(findings, Group::Device, QStringLiteral("isLargeConnectedBT"));
    ASSERT_NE(bt, nullptr);
    EXPECT_EQ(str(bt->reason), "WiFiDiagnostics error 95: no BlueZ on the bus");
    // A device answer naming the selected network does not make that group examined.
    for (const Finding& f : findings.items) {
        EXPECT_NE(f.group, Group::SelectedNetwork) << str(f.key);
    }
}

TEST(FindingReasons, AGroupThatDidNotRunSaysWhy) {
    report::Profile notJoined;
    notJoined.result =
        resultOf(Dictionary::make({{QStringLiteral("isLargePNL"), Value::boolean(false)}}), nullptr, nullptr);
    const report::Findings a = report::findingsOf(notJoined);
    const Finding* lan = findingOf(a, Group::CurrentNetwork, QStringLiteral("pingedLAN"));
    ASSERT_NE(lan, nullptr);
    EXPECT_EQ(str(lan->reason), str(report::text(QStringLiteral("reason.notJoined"))));
    EXPECT_EQ(a.verdict, Verdict::Incomplete);

    report::Profile noDevice;
    noDevice.result = resultOf(nullptr, nullptr, nullptr, -3);
    const report::Findings b = report::findingsOf(noDevice);
    const Finding* pnl = findingOf(b, Group::Device, QStringLiteral("isLargePNL"));
    ASSERT_NE(pnl, nullptr);
    EXPECT_EQ(str(pnl->reason), str(report::text(QStringLiteral("status.noDevice"))));

    report::Profile excluded;
    excluded.result = resultOf(nullptr, nullptr, nullptr, -6);
    const Finding* dns =
        findingOf(report::findingsOf(excluded), Group::CurrentNetwork, QStringLiteral("resolvedDNS"));
    ASSERT_NE(dns, nullptr);
    EXPECT_EQ(str(dns->reason), str(report::text(QStringLiteral("status.currentExcluded"))));

    report::Profile unfinished;
    unfinished.result = resultOf(nullptr, nullptr, nullptr);
    unfinished.result.toDictionary()->set(QStringLiteral("finished"), Value::boolean(false));
    const Finding* ipv6 =
        findingOf(report::findingsOf(unfinished), Group::CurrentNetwork, QStringLiteral("isIPv6Assigned"));
    ASSERT_NE(ipv6, nullptr);
    EXPECT_EQ(str(ipv6->reason), str(report::text(QStringLiteral("reason.runEnded"))));
}

TEST(FindingReasons, OneLoggedFailureOfATestRunForBothNetworksIsNotGuessed) {
    // Both groups lack "hasPoorSignal" and one failure message was logged: whose it was is unknown.
    auto current = Dictionary::make({{QStringLiteral("pingedLAN"), Value::boolean(true)}});
    auto selected = Dictionary::make({{QStringLiteral("isCaptive"), Value::boolean(false)}});
    report::Profile profile;
    profile.result = resultOf(nullptr, current, selected);
    profile.log.push_back(report::LogLine{
        3, 3,
        QStringLiteral(
            "[ERROR] - Wi-Fi Profile: Poor Signal failed with error: WiFiDiagnostics error 95: x")});
    const report::Findings one = report::findingsOf(profile);
    EXPECT_EQ(str(findingOf(one, Group::CurrentNetwork, QStringLiteral("hasPoorSignal"))->reason),
              str(report::text(QStringLiteral("reason.noAnswer"))));
    EXPECT_EQ(str(findingOf(one, Group::SelectedNetwork, QStringLiteral("hasPoorSignal"))->reason),
              str(report::text(QStringLiteral("reason.noAnswer"))));

    // Two messages: the joined network's came first.
    profile.log.push_back(report::LogLine{
        3, 3,
        QStringLiteral(
            "[ERROR] - Wi-Fi Profile: Poor Signal failed with error: WiFiDiagnostics error 2: y")});
    const report::Findings two = report::findingsOf(profile);
    EXPECT_EQ(str(findingOf(two, Group::CurrentNetwork, QStringLiteral("hasPoorSignal"))->reason),
              "WiFiDiagnostics error 95: x");
    EXPECT_EQ(str(findingOf(two, Group::SelectedNetwork, QStringLiteral("hasPoorSignal"))->reason),
              "WiFiDiagnostics error 2: y");

    // One message, and the joined network has its key: the message is the selected network's.
    current->set(QStringLiteral("hasPoorSignal"), Value::boolean(false));
    profile.log.pop_back();
    const report::Findings mine = report::findingsOf(profile);
    EXPECT_EQ(str(findingOf(mine, Group::SelectedNetwork, QStringLiteral("hasPoorSignal"))->reason),
              "WiFiDiagnostics error 95: x");
}

TEST(FindingGroups, TheSelectedNetworkOnlyWhenOneWasExamined) {
    report::Profile none = profileWith(Group::CurrentNetwork, Dictionary::make());
    for (const Finding& f : report::findingsOf(none).items) {
        EXPECT_NE(f.group, Group::SelectedNetwork);
    }
    // Every selected-network test failed: its group is empty, but the answers say it was examined.
    report::Profile failed = profileWith(Group::CurrentNetwork, Dictionary::make());
    failed.answers.push_back(
        errorAnswer(32, true, 2, QStringLiteral("WiFiDiagnostics error 2: not in the scan")));
    int selected = 0;
    for (const Finding& f : report::findingsOf(failed).items) {
        selected += f.group == Group::SelectedNetwork ? 1 : 0;
    }
    EXPECT_EQ(selected, 16);
}

TEST(FindingGroups, TheListScanOnlyWhenTheRunMadeOne) {
    const auto has = [](const report::Profile& p) {
        return findingOf(report::findingsOf(p), Group::CurrentNetwork, QStringLiteral("foundScanResults")) !=
               nullptr;
    };
    report::Profile plain = profileWith(Group::CurrentNetwork, Dictionary::make());
    EXPECT_FALSE(has(plain));
    report::Profile scanned = profileWith(
        Group::CurrentNetwork, Dictionary::make({{QStringLiteral("foundScanResults"), Value::integer(1)}}));
    EXPECT_TRUE(has(scanned));
    report::Profile refused = profileWith(Group::CurrentNetwork, Dictionary::make());
    refused.answers.push_back(
        errorAnswer(31, false, 13, QStringLiteral("WiFiDiagnostics error 13: scan refused")));
    EXPECT_TRUE(has(refused));
}

TEST(FindingGroups, ItemsFollowTheTableGroupByGroup) {
    const report::Profile profile = reporttest::goldenProfile(reporttest::kGoldenCases[1]);
    const report::Findings findings = report::findingsOf(profile);
    std::vector<std::pair<int, std::string>> seen;
    for (const Finding& f : findings.items) {
        seen.emplace_back(static_cast<int>(f.group), str(f.key));
    }
    std::vector<std::pair<int, std::string>> expected;
    for (const Group group : {Group::Device, Group::CurrentNetwork, Group::SelectedNetwork}) {
        for (const FindingRow& row : report::findingRows()) {
            if ((row.groups & bitOf(group)) && !row.onlySomeRuns) {
                expected.emplace_back(static_cast<int>(group), row.key);
            }
        }
    }
    EXPECT_EQ(seen, expected);
}

// ---- the verdict --------------------------------------------------------------------------------

// A profile whose every group holds every flag at its fine value.
report::Profile allFine() {
    DictionaryRef groups[3] = {Dictionary::make(), Dictionary::make(), Dictionary::make()};
    for (const FindingRow& row : report::findingRows()) {
        for (int g = 0; g < 3; ++g) {
            if (row.groups & bitOf(static_cast<Group>(g))) {
                groups[g]->set(key(row.key), flagValue(row, row.problemWhen == ProblemWhen::False));
            }
        }
    }
    report::Profile profile;
    profile.result = resultOf(groups[0], groups[1], groups[2]);
    return profile;
}

void setFlag(report::Profile& profile, Group group, const char* flagKey, Value value) {
    profile.group(report::groupKey(group))->set(key(flagKey), std::move(value));
}

TEST(Verdict, GoodWhenEveryCheckIsFine) {
    EXPECT_EQ(report::findingsOf(allFine()).verdict, Verdict::Good);
}

TEST(Verdict, DegradedByAnyWarningOrProblemOutsideTheConnection) {
    report::Profile warned = allFine();
    setFlag(warned, Group::Device, "isLargePNL", Value::boolean(true));
    EXPECT_EQ(report::findingsOf(warned).verdict, Verdict::Degraded);
    report::Profile weak = allFine();
    setFlag(weak, Group::SelectedNetwork, "hasPoorSignal", Value::boolean(true));
    EXPECT_EQ(report::findingsOf(weak).verdict, Verdict::Degraded);
    report::Profile noWanPing = allFine();
    setFlag(noWanPing, Group::CurrentNetwork, "pingedWAN", Value::boolean(false));
    EXPECT_EQ(report::findingsOf(noWanPing).verdict, Verdict::Degraded);
    report::Profile noIPv6 = allFine();
    setFlag(noIPv6, Group::CurrentNetwork, "isIPv6Assigned", Value::boolean(false));
    EXPECT_EQ(report::findingsOf(noIPv6).verdict, Verdict::Good) << "information only";
}

TEST(Verdict, NotWorkingByAConnectionProblemWhateverElse) {
    for (const char* flag :
         {"isIPv4Assigned", "pingedLAN", "resolvedDNS", "reachedOrvane", "retrievedOrvane"}) {
        report::Profile profile = allFine();
        setFlag(profile, Group::CurrentNetwork, flag, Value::boolean(false));
        EXPECT_EQ(report::findingsOf(profile).verdict, Verdict::NotWorking) << flag;
        profile.result.toDictionary()->set(QStringLiteral("statusCode"), Value::integer(-7));
        EXPECT_EQ(report::findingsOf(profile).verdict, Verdict::NotWorking) << flag;
    }
}

TEST(Verdict, IncompleteByTheStatusCodeAnUnfinishedRunOrManyUncheckedTests) {
    report::Profile excluded = allFine();
    excluded.result.toDictionary()->set(QStringLiteral("statusCode"), Value::integer(-7));
    EXPECT_EQ(report::findingsOf(excluded).verdict, Verdict::Incomplete);

    report::Profile unfinished = allFine();
    unfinished.result.toDictionary()->set(QStringLiteral("finished"), Value::boolean(false));
    EXPECT_EQ(report::findingsOf(unfinished).verdict, Verdict::Incomplete);

    report::Profile nothing;
    EXPECT_EQ(report::findingsOf(nothing).verdict, Verdict::Incomplete);

    // A third of the findings unchecked is still a verdict; one more is not.
    report::Profile some = allFine();
    const int total = static_cast<int>(report::findingsOf(some).items.size());
    int removed = 0;
    for (const FindingRow& row : report::findingRows()) {
        if (row.connectivity || !(row.groups & report::kInCurrent) || (removed + 1) * 3 > total) {
            continue;
        }
        some.group(QStringLiteral("currentNetwork"))->remove(key(row.key));
        ++removed;
    }
    ASSERT_EQ(removed, total / 3);
    EXPECT_EQ(report::findingsOf(some).verdict, Verdict::Good);
    some.group(QStringLiteral("device"))->remove(QStringLiteral("isLargePNL"));
    EXPECT_EQ(report::findingsOf(some).verdict, Verdict::Incomplete);
}

TEST(Verdict, NamesAndSentencesComeFromTheStringsTable) {
    for (const Verdict v : {Verdict::Good, Verdict::Degraded, Verdict::NotWorking, Verdict::Incomplete}) {
        EXPECT_FALSE(report::verdictName(v).startsWith(QLatin1Char('[')));
        EXPECT_FALSE(report::verdictSentence(v).startsWith(QLatin1Char('[')));
    }
    for (const Severity s : {Severity::Problem, Severity::Warning, Severity::Fine, Severity::NotChecked}) {
        EXPECT_FALSE(report::severityName(s).startsWith(QLatin1Char('[')));
    }
    for (const Group g : {Group::Device, Group::CurrentNetwork, Group::SelectedNetwork}) {
        EXPECT_FALSE(report::groupName(g).startsWith(QLatin1Char('[')));
    }
    EXPECT_EQ(str(report::verdictName(Verdict::NotWorking)), "Not working");
}

}  // namespace
