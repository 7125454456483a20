#pragma once
// What every fuzz target shares: a quiet Qt set-up made once per process, and the checks that stop
// a run with a readable reason when a property of the code under test does not hold (the fuzzer
// then keeps the input as a crash).

#include <QByteArray>
#include <QString>

namespace fuzzsupport {

// Creates the process's QCoreApplication once and silences Qt's own warnings, which would otherwise
// flood the fuzzer's output; a fatal Qt message still aborts. Set WIFIPROFILE_FUZZ_QT_MESSAGES=1
// to see the messages.
void startQt();

// When condition is false: prints "fuzz check failed: <what>" and detail on stderr, then aborts.
void require(bool condition, const char* what, const QString& detail = QString());

// When written does not read back as JSON: fails the check what, with context, the reader's
// complaint and the text.
void requireReadsBackAsJson(const QByteArray& written, const char* what, const QString& context = QString());

// The input as a short printable excerpt, for details of a failed check.
QString excerpt(const QByteArray& input);

}  // namespace fuzzsupport
