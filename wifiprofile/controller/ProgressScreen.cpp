// The progress screen: a centred message with a progress bar under it, in place of the list.
#include "platform/ui/Toolkit.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/resources/Strings.h"

#include <algorithm>

namespace wifiprofile {

namespace {

constexpr int kSideInset = 20;
constexpr int kLabelMinimumHeight = 36;
constexpr int kLabelBottomBelowCentre = 21;
constexpr int kBarWidth = 240;
constexpr int kBarGap = 15;

}  // namespace

void WiFiProfileViewController::displayProgressScreen() {
    progressScreenVisible = true;
    removeNavigationBarButtons();
    mainLabel = new platform::ui::Label;
    mainLabel->setAlignment(Qt::AlignCenter);
    mainLabel->setWordWrap(true);
    mainLabel->setNumberOfLines(3);
    mainLabel->setSystemFontSize(27);
    mainLabel->setStyleSheet(QStringLiteral("color: black;"));
    mainLabel->setText(localizedString(QStringLiteral("PROGRESS_TEXT")));
    progressView = new platform::ui::ProgressView;
    progressView->setProgress(0.0f, false);
    view()->setNeedsUpdateConstraints();
    mainLabel->setParent(view());
    progressView->setParent(view());
    mainLabel->show();
    progressView->show();
}

void WiFiProfileViewController::updateViewConstraints() {
    HostDiagnosticViewController::updateViewConstraints();
    if (!progressScreenVisible || !mainLabel || !progressView) {
        return;
    }
    // The label spans the width less 20 points a side, at least 36 high, its bottom 21 points below
    // the vertical centre (so longer text grows upwards); the 240-point bar is centred 15 under it.
    const QRect root = view()->rect();
    const int labelWidth = std::max(0, root.width() - 2 * kSideInset);
    const int labelHeight = std::max(kLabelMinimumHeight, mainLabel->heightForWidth(labelWidth));
    const int labelBottom = root.height() / 2 + kLabelBottomBelowCentre;
    mainLabel->setGeometry(kSideInset, labelBottom - labelHeight, labelWidth, labelHeight);
    progressView->setGeometry((root.width() - kBarWidth) / 2, labelBottom + kBarGap, kBarWidth,
                              progressView->sizeHint().height());
}

}  // namespace wifiprofile
