// The progress screen: a centred message with a progress bar under it, in place of the list, laid
// out by constraints.
#include "platform/ui/Toolkit.h"
#include "platform/ui/table/TableView.h"
#include "wifiprofile/controller/WiFiProfileViewController.h"
#include "wifiprofile/resources/Strings.h"

namespace wifiprofile {

namespace ui = platform::ui;

void WiFiProfileViewController::displayProgressScreen() {
    progressScreenVisible = true;
    removeNavigationBarButtons();
    if (tableView) {
        ui::View* list = tableView;
        list->removeFromSuperview();  // the property keeps the table; it is only no longer shown
    }

    mainLabel = new ui::Label(QRect());
    mainLabel->setOpaque(false);
    mainLabel->setContentMode(ui::ViewContentMode::Left);
    mainLabel->setContentHuggingPriority(251, ui::LayoutAxis::Horizontal);
    mainLabel->setContentHuggingPriority(251, ui::LayoutAxis::Vertical);
    mainLabel->setTextAlignment(ui::TextAlignment::Center);
    mainLabel->setLineBreakMode(ui::LineBreakMode::WordWrapping);
    mainLabel->setNumberOfLines(3);
    mainLabel->setBaselineAdjustment(ui::BaselineAdjustment::None);
    mainLabel->setPreferredMaxLayoutWidth(280);
    mainLabel->setSystemFontSize(27);
    mainLabel->setText(localizedString(QStringLiteral("PROGRESS_TEXT")));
    mainLabel->setTextColor(Qt::black);
    mainLabel->setTranslatesAutoresizingMaskIntoConstraints(false);

    progressView = new ui::ProgressView(ui::ProgressViewStyle::Default);
    progressView->setProgress(0.0f, false);
    progressView->setContentHuggingPriority(ui::LayoutPriority::DefaultHigh, ui::LayoutAxis::Vertical);
    progressView->setTranslatesAutoresizingMaskIntoConstraints(false);

    view()->setNeedsUpdateConstraints();
    view()->addSubview(mainLabel);
    view()->addSubview(progressView);
}

void WiFiProfileViewController::updateViewConstraints() {
    HostDiagnosticViewController::updateViewConstraints();
    if (!progressScreenVisible || !mainLabel || !progressView) {
        return;
    }
    // The label spans the width less 20 points a side, at least 36 high when it can be, its bottom
    // 21 points below the vertical centre (so longer text grows upwards); the 240-point bar is
    // centred 15 points under it. Added on every pass: constraints accumulate, duplicates agree.
    using ui::LayoutAttribute;
    using ui::LayoutConstraint;
    using ui::LayoutRelation;
    ui::View* root = view();
    root->addConstraint(LayoutConstraint::constraintWithItem(
        mainLabel, LayoutAttribute::Leading, LayoutRelation::Equal, root, LayoutAttribute::Leading, 1.0, 20));
    root->addConstraint(LayoutConstraint::constraintWithItem(root, LayoutAttribute::Trailing,
                                                             LayoutRelation::Equal, mainLabel,
                                                             LayoutAttribute::Trailing, 1.0, 20));
    const auto minimumHeight = LayoutConstraint::constraintWithItem(
        mainLabel, LayoutAttribute::Height, LayoutRelation::GreaterThanOrEqual, nullptr,
        LayoutAttribute::NotAnAttribute, 1.0, 36);
    minimumHeight->setPriority(ui::LayoutPriority::DefaultHigh);
    mainLabel->addConstraint(minimumHeight);
    root->addConstraint(LayoutConstraint::constraintWithItem(
        mainLabel, LayoutAttribute::CenterX, LayoutRelation::Equal, root, LayoutAttribute::CenterX, 1.0, 0));
    root->addConstraint(LayoutConstraint::constraintWithItem(
        mainLabel, LayoutAttribute::Bottom, LayoutRelation::Equal, root, LayoutAttribute::CenterY, 1.0, 21));
    progressView->addConstraint(
        LayoutConstraint::constraintWithItem(progressView, LayoutAttribute::Width, LayoutRelation::Equal,
                                             nullptr, LayoutAttribute::NotAnAttribute, 1.0, 240));
    root->addConstraint(LayoutConstraint::constraintWithItem(progressView, LayoutAttribute::CenterX,
                                                             LayoutRelation::Equal, root,
                                                             LayoutAttribute::CenterX, 1.0, 0));
    root->addConstraint(LayoutConstraint::constraintWithItem(progressView, LayoutAttribute::Top,
                                                             LayoutRelation::Equal, mainLabel,
                                                             LayoutAttribute::Bottom, 1.0, 15));
}

}  // namespace wifiprofile
