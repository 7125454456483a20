#pragma once
// Lets GoogleTest print Qt's strings and addresses as text in its failure messages.

#include <QHostAddress>
#include <QString>

#include <optional>
#include <ostream>

inline void PrintTo(const QString& text, std::ostream* os) {
    *os << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QHostAddress& address, std::ostream* os) {
    *os << address.toString().toStdString();
}
