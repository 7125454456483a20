#include "platform/ui/LayoutConstraint.h"

#include <algorithm>
#include "platform/ui/View.h"

namespace platform::ui {

QString layoutAttributeName(LayoutAttribute attribute) {
    switch (attribute) {
        case LayoutAttribute::NotAnAttribute:
            return QStringLiteral("notAnAttribute");
        case LayoutAttribute::Left:
            return QStringLiteral("left");
        case LayoutAttribute::Right:
            return QStringLiteral("right");
        case LayoutAttribute::Top:
            return QStringLiteral("top");
        case LayoutAttribute::Bottom:
            return QStringLiteral("bottom");
        case LayoutAttribute::Leading:
            return QStringLiteral("leading");
        case LayoutAttribute::Trailing:
            return QStringLiteral("trailing");
        case LayoutAttribute::Width:
            return QStringLiteral("width");
        case LayoutAttribute::Height:
            return QStringLiteral("height");
        case LayoutAttribute::CenterX:
            return QStringLiteral("centerX");
        case LayoutAttribute::CenterY:
            return QStringLiteral("centerY");
    }
    return QStringLiteral("attribute %1").arg(static_cast<int>(attribute));
}

std::shared_ptr<LayoutConstraint> LayoutConstraint::constraintWithItem(
    QWidget* item, LayoutAttribute attribute, LayoutRelation relation, QWidget* toItem,
    LayoutAttribute toAttribute, double multiplier, double constant) {
    std::shared_ptr<LayoutConstraint> c(new LayoutConstraint);
    c->firstItem_ = item;
    c->firstAttribute_ = attribute;
    c->relation_ = relation;
    c->secondItem_ = toItem;
    c->secondAttribute_ = toAttribute;
    c->multiplier_ = multiplier;
    c->constant_ = constant;
    return c;
}

void LayoutConstraint::setPriority(float priority) {
    priority_ = std::clamp(priority, 1.0f, LayoutPriority::Required);
}

namespace {

QString itemName(const QWidget* item) {
    if (!item) {
        return QStringLiteral("(none)");
    }
    const QString name = item->objectName();
    const QString className =
        QString::fromLatin1(item->metaObject()->className()).section(QStringLiteral("::"), -1);
    return name.isEmpty() ? className : QStringLiteral("%1 \"%2\"").arg(className, name);
}

}  // namespace

QString LayoutConstraint::describe() const {
    const QString relation = relation_ == LayoutRelation::Equal             ? QStringLiteral("==")
                             : relation_ == LayoutRelation::LessThanOrEqual ? QStringLiteral("<=")
                                                                            : QStringLiteral(">=");
    QString text =
        QStringLiteral("%1.%2 %3 ").arg(itemName(firstItem_), layoutAttributeName(firstAttribute_), relation);
    if (secondAttribute_ != LayoutAttribute::NotAnAttribute) {
        text += QStringLiteral("%1.%2").arg(itemName(secondItem_), layoutAttributeName(secondAttribute_));
        if (multiplier_ != 1.0) {
            text += QStringLiteral(" * %1").arg(multiplier_);
        }
        if (constant_ != 0.0) {
            text += constant_ < 0 ? QStringLiteral(" - %1").arg(-constant_)
                                  : QStringLiteral(" + %1").arg(constant_);
        }
    } else {
        text += QString::number(constant_);
    }
    if (!isRequired()) {
        text += QStringLiteral(" @%1").arg(priority_);
    }
    return text;
}

LayoutItem::~LayoutItem() {
    QObject::disconnect(keepAlive_);
}

void LayoutItem::addConstraint(LayoutConstraintRef constraint) {
    if (!constraint) {
        return;
    }
    constraints_.push_back(std::move(constraint));
    // The outermost toolkit view above the item solves the hierarchy's constraints.
    View* outermost = nullptr;
    for (QWidget* w = layoutWidget(); w; w = w->parentWidget()) {
        if (auto* view = qobject_cast<View*>(w)) {
            outermost = view;
        }
    }
    if (outermost) {
        outermost->setNeedsLayout();
    }
}

void LayoutItem::setTranslatesAutoresizingMaskIntoConstraints(bool translates) {
    translatesAutoresizing_ = translates;
}

void LayoutItem::setContentHuggingPriority(float priority, LayoutAxis axis) {
    hugging_[static_cast<int>(axis)] = priority;
}

float LayoutItem::contentHuggingPriority(LayoutAxis axis) const {
    return hugging_[static_cast<int>(axis)];
}

void LayoutItem::setContentCompressionResistancePriority(float priority, LayoutAxis axis) {
    compressionResistance_[static_cast<int>(axis)] = priority;
}

float LayoutItem::contentCompressionResistancePriority(LayoutAxis axis) const {
    return compressionResistance_[static_cast<int>(axis)];
}

void LayoutItem::removeFromSuperview() {
    QWidget* self = layoutWidget();
    QWidget* parent = self->parentWidget();
    if (!parent) {
        return;
    }
    self->setParent(nullptr);
    keepAlive_ = QObject::connect(parent, &QObject::destroyed, self, [self] { delete self; });
}

void LayoutItem::parentChanged() {
    if (layoutWidget()->parentWidget()) {
        QObject::disconnect(keepAlive_);  // the new parent owns it now
    }
}

}  // namespace platform::ui
