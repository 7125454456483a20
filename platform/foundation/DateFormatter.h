#pragma once
// Date formatting service shared by the whole process. Formatter type 0 is ISO 8601 in UTC with
// whole seconds, e.g. 2026-11-20T10:00:00Z.

#include "platform/foundation/Value.h"

#include <QString>

namespace platform {

// Formats d as ISO 8601 in UTC with whole seconds (fractions dropped toward the past). A date that
// is not a finite time gives the empty string.
QString iso8601String(const Date& d);

class DateFormatter {
  public:
    virtual ~DateFormatter() = default;
    virtual QString stringFromDate(const Date& date) const = 0;
};

class DateFormatterService {
  public:
    enum FormatterType { ISO8601 = 0 };

    static DateFormatterService* sharedInstance();
    // The formatter of the given type; nullptr for a type this service does not know.
    const DateFormatter* formatterOfType(int type) const;

  private:
    DateFormatterService() = default;
};

}  // namespace platform
