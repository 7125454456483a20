#pragma once
// Error objects handed back by platform services through an out-parameter.

#include <QString>

#include <cstdint>
#include <memory>

namespace platform {

struct Error {
    QString domain;
    std::int64_t code = 0;
    QString text;

    // What a "%@" in a log message prints for the error: "<domain> error <code>: <text>". The
    // parts are put in at once, so a "%2" inside the service's domain or text stays as it is.
    QString description() const {
        return QStringLiteral("%1 error %2: %3").arg(domain, QString::number(code), text);
    }
};

// Absent (nullptr) means no error was given.
using ErrorRef = std::shared_ptr<const Error>;

inline ErrorRef makeError(QString domain, std::int64_t code, QString text) {
    return std::make_shared<const Error>(Error{std::move(domain), code, std::move(text)});
}

}  // namespace platform
