#pragma once
// A plain view: the toolkit's base for views that lay out their own children, by hand or by the
// layout constraints they and their children hold.
#include <QWidget>
#include <functional>
#include "platform/ui/LayoutConstraint.h"

namespace platform::ui {

// A plain view. The root view of a diagnostic asks its owner to update layout constraints when
// marked as needing it; a layout pass then solves the constraints of the view and its children.
class View : public QWidget, public LayoutItem {
    Q_OBJECT
  public:
    explicit View(QWidget* parent = nullptr);
    void setBackgroundWhite();
    // No background of its own: what is behind shows through.
    void setBackgroundClear();
    // Grows and shrinks with its parent in width and/or height, as the parent's size changes.
    void setAutoresizingFlexibleSize(bool width, bool height);

    // Makes child a child of this view; it appears with the view unless it was hidden by hand.
    void addSubview(QWidget* child);

    // Schedules one constraints pass (the owner's updateViewConstraints, then a layout pass) on the
    // main queue.
    void setNeedsUpdateConstraints();
    void setUpdateConstraintsHandler(std::function<void()> handler) {
        updateConstraints_ = std::move(handler);
    }
    // Schedules a layout pass on the main queue; requests made before it runs share it.
    void setNeedsLayout();
    // Runs the pending passes now: the constraints pass if one was asked for, then the layout pass.
    void layoutIfNeeded();
    // Places the view's children by hand; called whenever the view's size changes. Nothing here.
    virtual void layoutSubviews() {}

  protected:
    // A new size needs a new layout pass, as the constraints would give.
    void resizeEvent(QResizeEvent* event) override;
    bool event(QEvent* event) override;
    QWidget* layoutWidget() override { return this; }
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void schedulePass();

    std::function<void()> updateConstraints_;
    bool constraintsPending_ = false;
    bool layoutPending_ = false;
    bool passScheduled_ = false;
    bool flexibleWidth_ = false;
    bool flexibleHeight_ = false;
    QWidget* watchedParent_ = nullptr;
    void watchParent();
};

}  // namespace platform::ui
