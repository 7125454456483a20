#pragma once
// Profiles the report tests render: the shipped scenarios' printed results (the golden files of the
// whole-run tests) with a fixed clock, and a hostile profile made to break a careless report.

#include "host/report/Profile.h"

#include <QByteArray>
#include <QString>

#include <ostream>

namespace reporttest {

struct GoldenCase {
    const char* name;      // unittests/golden/<name>.result.json
    const char* scenario;  // the scenario file the run read, under the source tree
};

inline void PrintTo(const GoldenCase& golden, std::ostream* os) {
    *os << golden.name;
}

// The four shipped runs whose printed results are golden files.
inline constexpr GoldenCase kGoldenCases[] = {
    {"built-in", "scenarios/default.json"},
    {"built-in-with-selected-network", "scenarios/default.json"},
    {"odd-answers", "scenarios/odd-answers.json"},
    {"list-power-on-accept", "scenarios/list-power-on-accept.json"},
};

QString sourcePath(const QString& relative);
QByteArray readFile(const QString& path);
bool writeFile(const QString& path, const QByteArray& bytes);

// The profile of a golden run: the printed result, the diagnostic's log from the .log file, the
// scenario's first answer of test 31 that holds a scan (the networks the run's service reported),
// and fixed metadata: started 2026-11-20T10:00:00Z, 12.4 s, on a named test machine.
report::Profile goldenProfile(const GoldenCase& golden);

// The hostile profile: network names with markup, quotes, bidirectional controls, lone surrogates
// and C0/C1 controls; a scan of 2,000 access points on every kind of channel with extreme signals;
// NaN and the infinities in the ping statistics and the signal; a log and metadata with markup.
report::Profile hostileProfile();
// Its joined network's name.
QString hostileNetworkName();

}  // namespace reporttest
