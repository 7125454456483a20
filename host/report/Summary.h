#pragma once
// The summary a person reads on a terminal after a run: the verdict, the problems and warnings
// with what to try (the most important first), the joined network's key numbers and where the
// report was written; at most 25 lines of at most 80 columns. Everything the profile holds
// (network names, the service's error texts) is shown with its control characters replaced, so a
// hostile name cannot move the cursor or recolour the terminal.

#include "host/report/Findings.h"
#include "host/report/Profile.h"

#include <QByteArray>
#include <QString>

namespace report {

constexpr int kSummaryMaxLines = 25;
constexpr int kSummaryMaxColumns = 80;

struct SummaryOptions {
    bool colour = false;  // ANSI colours; the host decides (wantsColour())
    QString reportPath;   // where the report was written; empty when none was
};

// The summary, one line per '\n'-terminated line.
QString summaryText(const Profile& profile, const Findings& findings, const SummaryOptions& options);

// Whether standard output takes colour: a terminal, NO_COLOR unset (or empty), and TERM set and
// not "dumb".
bool wantsColour();
// The same rule for given values: whether the output is a terminal, and NO_COLOR's and TERM's
// values (empty when unset).
bool wantsColour(bool terminal, const QByteArray& noColour, const QByteArray& term);

// The columns a terminal gives a text: most characters take one, East Asian wide and fullwidth
// characters and emoji two, combining marks and zero-width characters none.
int displayWidth(const QString& text);

}  // namespace report
