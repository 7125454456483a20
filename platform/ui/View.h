#pragma once
// A plain view: the toolkit's base for views that lay out their own children.
#include <QWidget>
#include <functional>

namespace platform::ui {

// A plain view. The root view of a diagnostic asks its owner to update layout constraints when
// marked as needing it.
class View : public QWidget {
    Q_OBJECT
  public:
    explicit View(QWidget* parent = nullptr);
    void setBackgroundWhite();
    // No background of its own: what is behind shows through.
    void setBackgroundClear();
    // Grows and shrinks with its parent in width and/or height, as the parent's size changes.
    void setAutoresizingFlexibleSize(bool width, bool height);
    // Schedules one constraints pass (the owner's updateViewConstraints) on the main queue.
    void setNeedsUpdateConstraints();
    void setUpdateConstraintsHandler(std::function<void()> handler) {
        updateConstraints_ = std::move(handler);
    }

  protected:
    // A new size needs a new layout pass, as the constraints would give.
    void resizeEvent(QResizeEvent* event) override;
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    std::function<void()> updateConstraints_;
    bool updatePending_ = false;
    bool flexibleWidth_ = false;
    bool flexibleHeight_ = false;
    QWidget* watchedParent_ = nullptr;
    void watchParent();
};

}  // namespace platform::ui
