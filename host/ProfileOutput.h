#pragma once
// What a run (or a saved profile) gives its readers: on stdout the result's JSON line, or the
// summary for a person at a terminal, and the files the command line asks for: the saved profile
// (--save) and the HTML report (--report), redacted with --redact.

#include "host/HostOptions.h"
#include "host/report/Profile.h"

#include "platform/foundation/Value.h"
#include "platform/wifi/RecordingBackend.h"

#include <QByteArray>

#include <vector>

namespace host {

// The result's line as the host prints it: {"statusCode": N, "data": {...}} with ", \"finished\":
// false" when the run did not finish, the status code first.
QByteArray resultJsonLine(const platform::Value& result);

// The service's answers as a profile keeps them.
std::vector<report::ServiceAnswer> serviceAnswers(const std::vector<platform::RecordedAnswer>& answers);

// Whether stdout gets the summary: --format text, or a terminal when no format is given.
bool printsSummary(const HostOptions& options);

// Writes the saved profile and the report the options ask for (saying on stderr what cannot be
// written) and answers what stdout gets. The profile is redacted first with --redact.
QByteArray profileOutputs(report::Profile profile, const HostOptions& options);

// --render FILE: the summary (or JSON line) and the files of a saved profile, with no device and
// no run. Answers the exit code: 0, or 3 for a saved profile that cannot be read.
int renderSavedProfile(const HostOptions& options);

}  // namespace host
