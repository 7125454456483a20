#include "wifiprofile/chooser/WiFiTableViewCell.h"

namespace wifiprofile {

WiFiTableViewCell::WiFiTableViewCell(platform::ui::TableViewCellStyle /*style*/,
                                     const QString& reuseIdentifier)
    : TableViewCell(platform::ui::TableViewCellStyle::Value1, reuseIdentifier) {}

}  // namespace wifiprofile
