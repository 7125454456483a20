#pragma once
// The cell of every row of the chooser: the platform's value-one cell whatever style is asked for.

#include "platform/ui/table/TableViewCell.h"

namespace wifiprofile {

class WiFiTableViewCell : public platform::ui::TableViewCell {
    Q_OBJECT
  public:
    WiFiTableViewCell(platform::ui::TableViewCellStyle style, const QString& reuseIdentifier);
    explicit WiFiTableViewCell(const QString& reuseIdentifier)
        : WiFiTableViewCell(platform::ui::TableViewCellStyle::Value1, reuseIdentifier) {}
};

}  // namespace wifiprofile
