#pragma once
// Layout constraints as objects: "first item's attribute is related to the second item's attribute
// times a multiplier plus a constant", at a priority, held by a view and solved when the view lays
// out; and LayoutItem, the side of a toolkit view that takes part in constraint layout.
#include <QPointer>
#include <QSizeF>
#include <QString>
#include <QWidget>

#include <memory>
#include <vector>

namespace platform::ui {

enum class LayoutAttribute {
    NotAnAttribute = 0,
    Left = 1,
    Right = 2,
    Top = 3,
    Bottom = 4,
    Leading = 5,
    Trailing = 6,
    Width = 7,
    Height = 8,
    CenterX = 9,
    CenterY = 10,
};

enum class LayoutRelation { LessThanOrEqual = -1, Equal = 0, GreaterThanOrEqual = 1 };

enum class LayoutAxis { Horizontal = 0, Vertical = 1 };

// Priorities: a required constraint must hold; lower ones give way, the lowest first.
namespace LayoutPriority {
inline constexpr float Required = 1000.0f;
inline constexpr float DefaultHigh = 750.0f;
inline constexpr float DefaultLow = 250.0f;
}  // namespace LayoutPriority

// The attribute's name as written in messages ("leading", "centerX").
QString layoutAttributeName(LayoutAttribute attribute);

class LayoutConstraint {
  public:
    // first.attribute  relation  multiplier * second.secondAttribute + constant. Without a second
    // item (or with NotAnAttribute) the right-hand side is the constant alone. Required priority.
    static std::shared_ptr<LayoutConstraint> constraintWithItem(QWidget* item, LayoutAttribute attribute,
                                                                LayoutRelation relation, QWidget* toItem,
                                                                LayoutAttribute toAttribute,
                                                                double multiplier, double constant);

    QWidget* firstItem() const { return firstItem_; }
    LayoutAttribute firstAttribute() const { return firstAttribute_; }
    LayoutRelation relation() const { return relation_; }
    QWidget* secondItem() const { return secondItem_; }
    LayoutAttribute secondAttribute() const { return secondAttribute_; }
    double multiplier() const { return multiplier_; }
    double constant() const { return constant_; }
    float priority() const { return priority_; }
    // Clamped to (0, 1000]; anything at or above 1000 is required.
    void setPriority(float priority);
    bool isRequired() const { return priority_ >= LayoutPriority::Required; }

    // "Label.height >= 36 @750", for messages.
    QString describe() const;

  private:
    LayoutConstraint() = default;
    QPointer<QWidget> firstItem_;
    LayoutAttribute firstAttribute_ = LayoutAttribute::NotAnAttribute;
    LayoutRelation relation_ = LayoutRelation::Equal;
    QPointer<QWidget> secondItem_;
    LayoutAttribute secondAttribute_ = LayoutAttribute::NotAnAttribute;
    double multiplier_ = 1.0;
    double constant_ = 0.0;
    float priority_ = LayoutPriority::Required;
};

using LayoutConstraintRef = std::shared_ptr<LayoutConstraint>;

// What a toolkit view brings to constraint layout: the constraints it holds, whether its frame is
// set by hand (automatic resizing constraints on, the default) or solved, its natural content size
// and how strongly it hugs and resists squeezing of that size. Mixed into the toolkit's widgets.
class LayoutItem {
  public:
    virtual ~LayoutItem();

    // Adds the constraint (duplicates are harmless); the outermost toolkit view above the item
    // solves it on its next layout pass, which this schedules.
    void addConstraint(LayoutConstraintRef constraint);
    const std::vector<LayoutConstraintRef>& constraints() const { return constraints_; }

    void setTranslatesAutoresizingMaskIntoConstraints(bool translates);
    bool translatesAutoresizingMaskIntoConstraints() const { return translatesAutoresizing_; }

    void setContentHuggingPriority(float priority, LayoutAxis axis);
    float contentHuggingPriority(LayoutAxis axis) const;
    void setContentCompressionResistancePriority(float priority, LayoutAxis axis);
    float contentCompressionResistancePriority(LayoutAxis axis) const;

    // The size the content wants; a negative width or height means none on that axis.
    virtual QSizeF intrinsicContentSize() const { return {-1.0, -1.0}; }

    // Takes the view out of its parent; it stays alive as long as the former parent does (as the
    // owner's reference keeps it on a touch platform) unless added to a new parent meanwhile.
    void removeFromSuperview();

  protected:
    // The widget this item is.
    virtual QWidget* layoutWidget() = 0;
    // To be called from the widget's event() on QEvent::ParentChange.
    void parentChanged();

  private:
    std::vector<LayoutConstraintRef> constraints_;
    bool translatesAutoresizing_ = true;
    float hugging_[2] = {LayoutPriority::DefaultLow, LayoutPriority::DefaultLow};
    float compressionResistance_[2] = {LayoutPriority::DefaultHigh, LayoutPriority::DefaultHigh};
    QMetaObject::Connection keepAlive_;
};

}  // namespace platform::ui
