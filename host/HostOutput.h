#pragma once
// The host's own output: whole lines to stdout or stderr, flushed at once, and its error messages,
// which go to stderr and to the events.

#include "host/EventStream.h"

#include <QByteArray>
#include <QString>

#include <cstdio>

namespace host {

// Writes text to stream and flushes it, so that a run that dies leaves what it wrote.
void writeOut(FILE* stream, const QByteArray& text);

// Reports one of the host's own errors: "wifi-profile: message" on stderr and an "error" event.
void reportError(EventStream& events, const QString& message);

}  // namespace host
