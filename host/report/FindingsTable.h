#pragma once
// The findings table itself: one row per flag key the diagnostic writes, with the groups it is
// written in, the test that writes it, which value is a problem and how bad, the detail keys that
// hold what was measured, and the strings-table keys of its texts. findingsOf() reads a profile
// through it; the tests hold it to the diagnostic's keys and to the strings table.

#include "host/report/Findings.h"

#include <cstdint>
#include <optional>
#include <span>

namespace report {

// The groups a row is written in, as bits.
constexpr unsigned kInDevice = 1u << 0;
constexpr unsigned kInCurrent = 1u << 1;
constexpr unsigned kInSelected = 1u << 2;

// Which value of the flag is the problem. Information rows have none: both values are fine and
// only the meaning differs.
enum class ProblemWhen { True, False, Never };

// How the detail keys become the finding's value.
enum class ValueForm {
    None,      // a bare flag
    Text,      // the first detail as text (a string as it is, a number in digits)
    Number,    // the first detail as a number
    Security,  // the first detail: the service's security coding or its name
    Signal,    // "RSSI" and "noise": the signal, the noise and their difference
    Ping,      // a ping result dictionary: average and loss
    Channel,   // the first detail as a channel and its band
    Modes,     // the first detail: a list of PHY modes
};

struct FindingRow {
    unsigned groups;
    std::int64_t testID;
    const char* logTitle;  // the test's name in the diagnostic's failure message
    const char* key;       // the flag key
    ProblemWhen problemWhen;
    Severity severity;       // of the problem value
    bool connectivity;       // the problem value means the network does not carry traffic
    bool onlySomeRuns;       // the test runs only in some runs: left out when it left no trace
    const char* details[5];  // detail keys, in the order the value reads them; null after the last
    ValueForm form;
    // Strings-table keys; null where the row has none.
    const char* title;
    const char* valueText;  // the value, with %1 (and %2, %3 for the signal)
    const char* threshold;
    const char* meaningTrue;   // what the flag means when true
    const char* meaningFalse;  // and when false
    const char* advice;        // what to try about the problem value
};

std::span<const FindingRow> findingRows();
// The row of a flag key in a group; null when the table has none.
const FindingRow* findingRow(const QString& key, Group group);

// What a row's detail keys say was measured, in words, as the finding's value shows it.
QString measuredValue(const FindingRow& row, const platform::Dictionary& data);
// The band of a channel number in words: "2.4 GHz" for channels 1 to 14, "5 GHz" for 15 to 196;
// empty for any other number.
QString bandOfChannel(std::int64_t channel);
// A network's security in words: the service's code (0 to 6), or its name, where "None", "Open"
// and "WEP" read in the reader's language and other names (WPA2 Personal, ...) stay as they are.
QString securityText(const platform::Value& value);
// A number for a person: whole numbers without decimals, others with one; nothing for NaN, the
// infinities and what is no number.
std::optional<QString> numberText(const platform::Value& value);

// The result dictionary's name of a group: "device", "currentNetwork", "selectedNetwork".
QString groupKey(Group group);

}  // namespace report
