// Parameter validation of the diagnostic's inputs, and the null-marker helpers.
#include "platform/host/HostDiagnostic.h"
#include "wifiprofile/controller/NullHelpers.h"
#include "wifiprofile/controller/WiFiProfileInputs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;
using wifiprofile::WiFiProfileInputs;

DictionaryRef params(Value maxScanCacheAge, Value reprofile) {
    return Dictionary::make({{"maxScanCacheAge", maxScanCacheAge}, {"reprofileWithUI", reprofile}});
}

bool validate(const DictionaryRef& p, WiFiProfileInputs* out = nullptr) {
    WiFiProfileInputs inputs;
    const bool ok = inputs.validateAndInitializeParameters(p);
    if (out) {
        out->maxScanCacheAge = inputs.maxScanCacheAge;
        out->reprofileWithNetworksListUI = inputs.reprofileWithNetworksListUI;
        out->parameters = inputs.parameters;
        out->setSelectedNetworkName(inputs.selectedNetworkName());
    }
    return ok;
}

TEST(Inputs, MaxScanCacheAgeOfZeroPasses) {
    EXPECT_TRUE(validate(params(Value::integer(0), Value::boolean(false))));
}

TEST(Inputs, MaxScanCacheAgeOf600Passes) {
    EXPECT_TRUE(validate(params(Value::integer(600), Value::boolean(false))));
}

TEST(Inputs, MaxScanCacheAgeOf601Fails) {
    EXPECT_FALSE(validate(params(Value::integer(601), Value::boolean(false))));
}

TEST(Inputs, NegativeMaxScanCacheAgeFails) {
    EXPECT_FALSE(validate(params(Value::integer(-1), Value::boolean(false))));
}

TEST(Inputs, MissingMaxScanCacheAgeFails) {
    EXPECT_FALSE(validate(Dictionary::make({{"reprofileWithUI", Value::boolean(false)}})));
}

TEST(Inputs, BooleanIsNotANumber) {
    EXPECT_FALSE(validate(params(Value::boolean(true), Value::boolean(false))));
}

TEST(Inputs, StringOfDigitsIsNotANumber) {
    EXPECT_FALSE(validate(params(Value::string("60"), Value::boolean(false))));
}

TEST(Inputs, NaNIsOutOfBounds) {
    EXPECT_FALSE(validate(params(Value::number(std::nan("")), Value::boolean(false))));
}

TEST(Inputs, FractionWithinBoundsIsANumber) {
    WiFiProfileInputs inputs;
    EXPECT_TRUE(validate(params(Value::number(59.5), Value::boolean(false)), &inputs));
    EXPECT_EQ(*inputs.maxScanCacheAge, Value::number(59.5));
}

TEST(Inputs, NumberIsNotABoolean) {
    EXPECT_FALSE(validate(params(Value::integer(60), Value::integer(1))));
}

TEST(Inputs, MissingReprofileWithUIFails) {
    EXPECT_FALSE(validate(Dictionary::make({{"maxScanCacheAge", Value::integer(60)}})));
}

TEST(Inputs, ValuesAreStoredUnderTheirProperties) {
    auto p = params(Value::integer(42), Value::boolean(true));
    p->set("networkName", Value::string("Cafe"));
    WiFiProfileInputs inputs;
    ASSERT_TRUE(inputs.validateAndInitializeParameters(p));
    EXPECT_EQ(*inputs.maxScanCacheAge, Value::integer(42));
    EXPECT_TRUE(inputs.reprofileWithNetworksListUI);
    EXPECT_EQ(inputs.selectedNetworkName(), QString("Cafe"));
    EXPECT_EQ(inputs.parameters, p);  // the raw dictionary itself
}

TEST(Inputs, NetworkNameOf32CharactersPasses) {
    auto p = params(Value::integer(60), Value::boolean(false));
    p->set("networkName", Value::string(QString(32, u'n')));
    EXPECT_TRUE(validate(p));
}

TEST(Inputs, NetworkNameOf33CharactersFails) {
    auto p = params(Value::integer(60), Value::boolean(false));
    p->set("networkName", Value::string(QString(33, u'n')));
    EXPECT_FALSE(validate(p));
}

TEST(Inputs, NetworkNameLengthCountsUtf16CodeUnits) {
    // 16 characters outside the basic plane take two code units each: 32 in all.
    QString name;
    for (int i = 0; i < 16; ++i) {
        name += QString::fromUcs4(U"\U0001F4F6", 1);
    }
    auto p = params(Value::integer(60), Value::boolean(false));
    p->set("networkName", Value::string(name));
    EXPECT_TRUE(validate(p));
    p->set("networkName", Value::string(name + "x"));
    EXPECT_FALSE(validate(p));
}

TEST(Inputs, EmptyNetworkNamePassesAndIsAnEmptySelectedName) {
    auto p = params(Value::integer(60), Value::boolean(false));
    p->set("networkName", Value::string(""));
    WiFiProfileInputs inputs;
    ASSERT_TRUE(validate(p, &inputs));
    ASSERT_TRUE(inputs.selectedNetworkName().has_value());
    EXPECT_TRUE(inputs.selectedNetworkName()->isEmpty());
}

TEST(Inputs, MissingNetworkNameLeavesSelectedNameAbsent) {
    WiFiProfileInputs inputs;
    ASSERT_TRUE(validate(params(Value::integer(60), Value::boolean(false)), &inputs));
    EXPECT_FALSE(inputs.selectedNetworkName().has_value());
}

TEST(Inputs, NetworkNameThatIsNotAStringFails) {
    auto p = params(Value::integer(60), Value::boolean(false));
    p->set("networkName", Value::integer(7));
    EXPECT_FALSE(validate(p));
}

TEST(Inputs, EveryKeyIsReadEvenAfterAnEarlierFailure) {
    auto p = params(Value::integer(601), Value::boolean(true));
    p->set("networkName", Value::string("Lab"));
    WiFiProfileInputs inputs;
    EXPECT_FALSE(inputs.validateAndInitializeParameters(p));
    EXPECT_TRUE(inputs.reprofileWithNetworksListUI);
    EXPECT_EQ(inputs.selectedNetworkName(), QString("Lab"));
}

TEST(Inputs, EveryProblemIsReportedWithItsKey) {
    auto p = Dictionary::make({{"maxScanCacheAge", Value::integer(700)}, {"networkName", Value::integer(3)}});
    platform::InputValidationReport report;
    WiFiProfileInputs inputs;
    EXPECT_FALSE(inputs.validateAndInitializeParameters(p));
    ASSERT_EQ(report.problems().size(), 3);
    EXPECT_EQ(report.problems()[0], "\"maxScanCacheAge\": must be between 0 and 600, got 700");
    EXPECT_EQ(report.problems()[1], "\"reprofileWithUI\": is required but missing");
    EXPECT_EQ(report.problems()[2], "\"networkName\": must be a string, got integer 3");
}

TEST(NullHelpers, NumberOrNullForDoubleOfNaNIsTheNullMarker) {
    EXPECT_TRUE(wifiprofile::numberOrNullForDouble(std::nan("")).isNull());
}

TEST(NullHelpers, NumberOrNullForDoubleOfZeroIsANumber) {
    EXPECT_EQ(wifiprofile::numberOrNullForDouble(0.0), Value::number(0.0));
}

TEST(NullHelpers, NumberOrNullForDoubleOfInfinityIsANumber) {
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(wifiprofile::numberOrNullForDouble(inf), Value::number(inf));
}

TEST(NullHelpers, StringOrNullKeepsAValueAndMarksAbsence) {
    EXPECT_EQ(wifiprofile::stringOrNull(Value::string("x")), Value::string("x"));
    EXPECT_EQ(wifiprofile::stringOrNull(Value::integer(3)), Value::integer(3));  // no type check
    EXPECT_TRUE(wifiprofile::stringOrNull(std::nullopt).isNull());
    EXPECT_TRUE(wifiprofile::numberOrNull(std::nullopt).isNull());
    EXPECT_TRUE(wifiprofile::dictionaryOrNull(std::nullopt).isNull());
}

TEST(NullHelpers, RemoveNullFromEmptyDictionaryDoesNothing) {
    Dictionary d;
    wifiprofile::removeNullFromDictionary(d);
    EXPECT_TRUE(d.empty());
}

TEST(NullHelpers, RemoveNullFromAllNullDictionaryLeavesItEmpty) {
    Dictionary d{{"a", Value::null()}, {"b", Value::null()}};
    wifiprofile::removeNullFromDictionary(d);
    EXPECT_TRUE(d.empty());
}

TEST(NullHelpers, RemoveNullKeepsOtherEntriesAndNestedNulls) {
    auto nested = Dictionary::make({{"inner", Value::null()}});
    Dictionary d{{"a", Value::null()}, {"b", Value::integer(1)}, {"c", Value::dictionary(nested)}};
    wifiprofile::removeNullFromDictionary(d);
    EXPECT_EQ(d.keys(), QStringList({"b", "c"}));
    EXPECT_TRUE(nested->contains("inner"));
}

}  // namespace
