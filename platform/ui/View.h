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
    // Schedules one constraints pass (the owner's updateViewConstraints) on the main queue.
    void setNeedsUpdateConstraints();
    void setUpdateConstraintsHandler(std::function<void()> handler) {
        updateConstraints_ = std::move(handler);
    }

  protected:
    // A new size needs a new layout pass, as the constraints would give.
    void resizeEvent(QResizeEvent* event) override;

  private:
    std::function<void()> updateConstraints_;
    bool updatePending_ = false;
};

}  // namespace platform::ui
