#include "platform/ui/LayoutSolver.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>
#include "platform/ui/LayoutConstraint.h"
#include "platform/ui/ScreenEvents.h"

namespace platform::ui {

namespace {

// ---- A small linear program solver --------------------------------------------------------------
//
// Minimises cost·z over z >= 0 under rows of "a·z (<=, ==, >=) b": the two-phase simplex method on
// a dense tableau with Bland's rule, which cannot cycle. Layouts have a few dozen columns, so
// nothing cleverer is needed.

enum class Rel { Le, Eq, Ge };

struct Row {
    std::vector<double> a;
    Rel rel = Rel::Eq;
    double b = 0.0;
};

constexpr double kEpsilon = 1e-9;
constexpr double kFeasibilityTolerance = 1e-6;
constexpr int kMaxPivots = 100000;

enum class LpOutcome { Solved, Infeasible, Unsolved };

struct LpAnswer {
    LpOutcome outcome = LpOutcome::Unsolved;
    std::vector<double> z;
    double value = 0.0;
};

class Tableau {
  public:
    std::vector<std::vector<double>> rows;  // each: columns..., right-hand side
    std::vector<std::size_t> basis;
    std::size_t columns = 0;

    void pivot(std::size_t r, std::size_t c, std::vector<double>& objective) {
        std::vector<double>& pr = rows[r];
        const double p = pr[c];
        for (double& v : pr) {
            v /= p;
        }
        auto eliminate = [&](std::vector<double>& row) {
            const double f = row[c];
            if (std::abs(f) > 0.0) {
                for (std::size_t j = 0; j <= columns; ++j) {
                    row[j] -= f * pr[j];
                }
            }
        };
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (i != r) {
                eliminate(rows[i]);
            }
        }
        eliminate(objective);
        basis[r] = c;
    }

    // Runs the simplex on the objective row (reduced costs, last entry minus the value) with the
    // columns allowed to enter. False when it did not finish (unbounded or too many pivots).
    bool minimise(std::vector<double>& objective, const std::vector<bool>& allowed) {
        for (int step = 0; step < kMaxPivots; ++step) {
            std::optional<std::size_t> entering;
            for (std::size_t j = 0; j < columns; ++j) {
                if (allowed[j] && objective[j] < -kEpsilon) {
                    entering = j;
                    break;
                }
            }
            if (!entering) {
                return true;
            }
            std::optional<std::size_t> leaving;
            double best = 0.0;
            for (std::size_t i = 0; i < rows.size(); ++i) {
                const double a = rows[i][*entering];
                if (a > kEpsilon) {
                    const double ratio = rows[i][columns] / a;
                    if (!leaving || ratio < best - kEpsilon ||
                        (ratio <= best + kEpsilon && basis[i] < basis[*leaving])) {
                        leaving = i;
                        best = ratio;
                    }
                }
            }
            if (!leaving) {
                return false;  // unbounded
            }
            pivot(*leaving, *entering, objective);
        }
        return false;
    }
};

LpAnswer minimiseNonNegative(const std::vector<double>& cost, const std::vector<Row>& problem) {
    const std::size_t n = cost.size();
    std::vector<Row> lp = problem;
    std::size_t slacks = 0;
    std::size_t artificials = 0;
    for (Row& row : lp) {
        if (row.b < 0) {
            for (double& v : row.a) {
                v = -v;
            }
            row.b = -row.b;
            row.rel = row.rel == Rel::Le ? Rel::Ge : row.rel == Rel::Ge ? Rel::Le : Rel::Eq;
        }
        slacks += row.rel == Rel::Eq ? 0 : 1;
        artificials += row.rel == Rel::Le ? 0 : 1;
    }
    Tableau t;
    t.columns = n + slacks + artificials;
    const std::size_t firstArtificial = n + slacks;
    std::size_t nextSlack = n;
    std::size_t nextArtificial = firstArtificial;
    for (const Row& row : lp) {
        std::vector<double> r(t.columns + 1, 0.0);
        std::copy(row.a.begin(), row.a.end(), r.begin());
        r[t.columns] = row.b;
        if (row.rel == Rel::Le) {
            r[nextSlack] = 1.0;
            t.basis.push_back(nextSlack++);
        } else {
            if (row.rel == Rel::Ge) {
                r[nextSlack++] = -1.0;
            }
            r[nextArtificial] = 1.0;
            t.basis.push_back(nextArtificial++);
        }
        t.rows.push_back(std::move(r));
    }

    // Phase 1: drive the artificial columns to zero.
    std::vector<double> objective(t.columns + 1, 0.0);
    for (std::size_t j = firstArtificial; j < t.columns; ++j) {
        objective[j] = 1.0;
    }
    for (std::size_t i = 0; i < t.rows.size(); ++i) {
        if (t.basis[i] >= firstArtificial) {
            for (std::size_t j = 0; j <= t.columns; ++j) {
                objective[j] -= t.rows[i][j];
            }
        }
    }
    std::vector<bool> allowed(t.columns, true);
    if (!t.minimise(objective, allowed)) {
        return {};
    }
    if (-objective[t.columns] > kFeasibilityTolerance) {
        return {LpOutcome::Infeasible, {}, 0.0};
    }
    // Artificial columns still basic (at zero) leave the basis, or their rows were redundant.
    for (std::size_t i = 0; i < t.rows.size();) {
        if (t.basis[i] < firstArtificial) {
            ++i;
            continue;
        }
        std::optional<std::size_t> column;
        for (std::size_t j = 0; j < firstArtificial; ++j) {
            if (std::abs(t.rows[i][j]) > kEpsilon) {
                column = j;
                break;
            }
        }
        if (column) {
            t.pivot(i, *column, objective);
            ++i;
        } else {
            t.rows.erase(t.rows.begin() + static_cast<std::ptrdiff_t>(i));
            t.basis.erase(t.basis.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }

    // Phase 2: the real cost, artificial columns barred.
    std::fill(objective.begin(), objective.end(), 0.0);
    std::copy(cost.begin(), cost.end(), objective.begin());
    for (std::size_t i = 0; i < t.rows.size(); ++i) {
        const std::size_t b = t.basis[i];
        if (b < n && cost[b] != 0.0) {
            for (std::size_t j = 0; j <= t.columns; ++j) {
                objective[j] -= cost[b] * t.rows[i][j];
            }
        }
    }
    for (std::size_t j = firstArtificial; j < t.columns; ++j) {
        allowed[j] = false;
    }
    if (!t.minimise(objective, allowed)) {
        return {};
    }
    LpAnswer answer{LpOutcome::Solved, std::vector<double>(n, 0.0), -objective[t.columns]};
    for (std::size_t i = 0; i < t.rows.size(); ++i) {
        if (t.basis[i] < n) {
            answer.z[t.basis[i]] = t.rows[i][t.columns];
        }
    }
    return answer;
}

// ---- From constraints to a linear program -------------------------------------------------------

// A linear expression over the unknown frames: four free unknowns per solved view (x, y, width,
// height in root's coordinates) plus a constant.
struct Expression {
    std::vector<double> coefficients;
    double constant = 0.0;

    explicit Expression(std::size_t unknowns) : coefficients(unknowns, 0.0) {}
    Expression& add(const Expression& other, double factor) {
        for (std::size_t i = 0; i < coefficients.size(); ++i) {
            coefficients[i] += factor * other.coefficients[i];
        }
        constant += factor * other.constant;
        return *this;
    }
};

struct Relation {
    Expression expression;  // expression (<=, ==, >=) 0
    Rel rel;
    float priority;
    QString description;
};

bool isHorizontal(LayoutAttribute a) {
    return a == LayoutAttribute::Left || a == LayoutAttribute::Right || a == LayoutAttribute::Leading ||
           a == LayoutAttribute::Trailing || a == LayoutAttribute::CenterX || a == LayoutAttribute::Width;
}

bool isSize(LayoutAttribute a) {
    return a == LayoutAttribute::Width || a == LayoutAttribute::Height;
}

class Problem {
  public:
    explicit Problem(QWidget* root) : root_(root) {}

    // The unknowns' index of a solved view, or none for a view whose frame is taken as it is.
    std::optional<std::size_t> unknownOf(const QWidget* w) const {
        const auto it = std::find(solved.begin(), solved.end(), w);
        return it == solved.end() ? std::nullopt : std::optional<std::size_t>((it - solved.begin()) * 4);
    }

    bool underRoot(const QWidget* w) const { return w && (w == root_ || root_->isAncestorOf(w)); }

    Expression attribute(QWidget* w, LayoutAttribute a) const {
        Expression e(solved.size() * 4);
        double x = 0;
        double y = 0;
        double width = 0;
        double height = 0;
        const auto unknown = unknownOf(w);
        if (!unknown) {
            const QPoint origin = w == root_ ? QPoint(0, 0) : w->mapTo(root_, QPoint(0, 0));
            x = origin.x();
            y = origin.y();
            width = w->width();
            height = w->height();
        }
        // value = cx*x + cw*width (horizontal) or cy*y + ch*height (vertical)
        double position = 0;
        double size = 0;
        bool horizontal = isHorizontal(a);
        switch (a) {
            case LayoutAttribute::Left:
            case LayoutAttribute::Top:
                position = 1;
                break;
            case LayoutAttribute::Right:
            case LayoutAttribute::Bottom:
                position = 1;
                size = 1;
                break;
            case LayoutAttribute::Leading:
                position = 1;
                size = w->isRightToLeft() ? 1 : 0;
                break;
            case LayoutAttribute::Trailing:
                position = 1;
                size = w->isRightToLeft() ? 0 : 1;
                break;
            case LayoutAttribute::CenterX:
            case LayoutAttribute::CenterY:
                position = 1;
                size = 0.5;
                break;
            case LayoutAttribute::Width:
            case LayoutAttribute::Height:
                size = 1;
                break;
            case LayoutAttribute::NotAnAttribute:
                break;
        }
        if (unknown) {
            e.coefficients[*unknown + (horizontal ? 0 : 1)] = position;
            e.coefficients[*unknown + (horizontal ? 2 : 3)] = size;
        } else {
            e.constant = horizontal ? position * x + size * width : position * y + size * height;
        }
        return e;
    }

    std::vector<QWidget*> solved;

  private:
    QWidget* root_;
};

// Why a constraint cannot be used, or an empty string.
QString malformed(const LayoutConstraint& c) {
    const LayoutAttribute first = c.firstAttribute();
    const LayoutAttribute second = c.secondAttribute();
    if (first == LayoutAttribute::NotAnAttribute) {
        return QStringLiteral("the first attribute is missing");
    }
    if (second == LayoutAttribute::NotAnAttribute) {
        return isSize(first) ? QString() : QStringLiteral("a position needs a second item to relate to");
    }
    if (isSize(first) != isSize(second)) {
        return QStringLiteral("a position cannot be related to a size");
    }
    if (!isSize(first) && isHorizontal(first) != isHorizontal(second)) {
        return QStringLiteral("a horizontal position cannot be related to a vertical one");
    }
    return QString();
}

Rel relOf(LayoutRelation r) {
    return r == LayoutRelation::Equal ? Rel::Eq : r == LayoutRelation::LessThanOrEqual ? Rel::Le : Rel::Ge;
}

QString rootName(const QWidget* root) {
    const QString name = root->objectName();
    return name.isEmpty() ? QString::fromLatin1(root->metaObject()->className()) : name;
}

// Solves the relations, required ones as hard rows and the others level by level (highest priority
// first), each level's total error kept at its best while the lower levels are minimised. Answers
// the unknowns, or none when the required relations cannot all hold.
std::optional<std::vector<double>> solveRelations(const std::vector<Relation>& relations,
                                                  std::size_t unknowns, bool softenRequired) {
    // Columns: each free unknown u as z[2u] - z[2u+1]; then the error columns of soft relations.
    std::vector<float> levels;
    std::vector<std::vector<std::size_t>> errorColumns(relations.size());
    std::size_t columns = unknowns * 2;
    for (std::size_t i = 0; i < relations.size(); ++i) {
        const Relation& r = relations[i];
        if (r.priority >= LayoutPriority::Required && !softenRequired) {
            continue;
        }
        const std::size_t errors = r.rel == Rel::Eq ? 2 : 1;
        for (std::size_t k = 0; k < errors; ++k) {
            errorColumns[i].push_back(columns++);
        }
        levels.push_back(std::min(r.priority, LayoutPriority::Required));
    }
    std::sort(levels.begin(), levels.end(), std::greater<>());
    levels.erase(std::unique(levels.begin(), levels.end()), levels.end());

    std::vector<Row> rows;
    for (std::size_t i = 0; i < relations.size(); ++i) {
        const Relation& r = relations[i];
        Row row;
        row.a.assign(columns, 0.0);
        for (std::size_t u = 0; u < unknowns; ++u) {
            row.a[2 * u] = r.expression.coefficients[u];
            row.a[2 * u + 1] = -r.expression.coefficients[u];
        }
        row.rel = r.rel;
        row.b = -r.expression.constant;
        // expression + below - above (==, >=, <=) 0: "below" makes up a shortfall, "above" an excess.
        if (r.rel == Rel::Eq) {
            if (!errorColumns[i].empty()) {
                row.a[errorColumns[i][0]] = 1.0;
                row.a[errorColumns[i][1]] = -1.0;
            }
        } else if (!errorColumns[i].empty()) {
            row.a[errorColumns[i][0]] = r.rel == Rel::Ge ? 1.0 : -1.0;
        }
        rows.push_back(std::move(row));
    }

    auto levelOf = [&](std::size_t i) { return std::min(relations[i].priority, LayoutPriority::Required); };
    std::vector<double> cost(columns, 0.0);
    LpAnswer answer = minimiseNonNegative(cost, rows);
    if (answer.outcome != LpOutcome::Solved) {
        return std::nullopt;
    }
    for (const float level : levels) {
        std::fill(cost.begin(), cost.end(), 0.0);
        for (std::size_t i = 0; i < relations.size(); ++i) {
            if (!errorColumns[i].empty() && levelOf(i) == level) {
                for (const std::size_t c : errorColumns[i]) {
                    cost[c] = 1.0;
                }
            }
        }
        answer = minimiseNonNegative(cost, rows);
        if (answer.outcome != LpOutcome::Solved) {
            return std::nullopt;
        }
        // Keep this level's best while the lower levels are minimised.
        Row keep;
        keep.a = cost;
        keep.rel = Rel::Le;
        keep.b = answer.value + kFeasibilityTolerance * (1.0 + answer.value);
        rows.push_back(std::move(keep));
    }
    std::vector<double> values(unknowns);
    for (std::size_t u = 0; u < unknowns; ++u) {
        values[u] = answer.z[2 * u] - answer.z[2 * u + 1];
    }
    return values;
}

int depthUnder(const QWidget* w, const QWidget* root) {
    int depth = 0;
    for (; w && w != root; w = w->parentWidget()) {
        ++depth;
    }
    return depth;
}

}  // namespace

std::map<QWidget*, QRectF> solveLayout(QWidget* root) {
    std::map<QWidget*, QRectF> frames;
    if (!root) {
        return frames;
    }
    QList<QWidget*> widgets = root->findChildren<QWidget*>();
    widgets.prepend(root);
    std::vector<LayoutConstraintRef> constraints;
    for (QWidget* w : widgets) {
        if (const auto* item = dynamic_cast<LayoutItem*>(w)) {
            constraints.insert(constraints.end(), item->constraints().begin(), item->constraints().end());
        }
    }
    if (constraints.empty()) {
        return frames;
    }

    Problem problem(root);
    auto isSolved = [&](QWidget* w) {
        const auto* item = dynamic_cast<LayoutItem*>(w);
        return w != root && item && !item->translatesAutoresizingMaskIntoConstraints();
    };
    // Constraints on views gone or outside the hierarchy are dropped, as a removed view's are.
    std::vector<LayoutConstraintRef> usable;
    for (const LayoutConstraintRef& c : constraints) {
        const bool hasSecond = c->secondAttribute() != LayoutAttribute::NotAnAttribute;
        if (!problem.underRoot(c->firstItem()) || (hasSecond && !problem.underRoot(c->secondItem()))) {
            continue;
        }
        if (const QString why = malformed(*c); !why.isEmpty()) {
            reportProgrammingError(QStringLiteral("layout constraint \"%1\" in %2 ignored: %3")
                                       .arg(c->describe(), rootName(root), why),
                                   nullptr);
            continue;
        }
        for (QWidget* w : {c->firstItem(), hasSecond ? c->secondItem() : nullptr}) {
            if (w && isSolved(w) && !problem.unknownOf(w)) {
                problem.solved.push_back(w);
            }
        }
        usable.push_back(c);
    }
    if (problem.solved.empty()) {
        return frames;
    }

    const std::size_t unknowns = problem.solved.size() * 4;
    std::vector<Relation> relations;
    for (const LayoutConstraintRef& c : usable) {
        Expression e = problem.attribute(c->firstItem(), c->firstAttribute());
        if (c->secondAttribute() != LayoutAttribute::NotAnAttribute) {
            e.add(problem.attribute(c->secondItem(), c->secondAttribute()), -c->multiplier());
        }
        e.constant -= c->constant();
        relations.push_back({std::move(e), relOf(c->relation()), c->priority(), c->describe()});
    }
    // Each solved view's content: hug its intrinsic size, resist being made smaller than it.
    for (QWidget* w : problem.solved) {
        const auto* item = dynamic_cast<LayoutItem*>(w);
        const QSizeF intrinsic = item->intrinsicContentSize();
        for (const LayoutAxis axis : {LayoutAxis::Horizontal, LayoutAxis::Vertical}) {
            const double natural = axis == LayoutAxis::Horizontal ? intrinsic.width() : intrinsic.height();
            if (natural < 0) {
                continue;
            }
            const LayoutAttribute size =
                axis == LayoutAxis::Horizontal ? LayoutAttribute::Width : LayoutAttribute::Height;
            Expression e = problem.attribute(w, size);
            e.constant -= natural;
            relations.push_back({e, Rel::Le, item->contentHuggingPriority(axis), QString()});
            relations.push_back({e, Rel::Ge, item->contentCompressionResistancePriority(axis), QString()});
        }
    }

    std::optional<std::vector<double>> values = solveRelations(relations, unknowns, false);
    if (!values) {
        QStringList required;
        for (const Relation& r : relations) {
            if (r.priority >= LayoutPriority::Required && !r.description.isEmpty()) {
                required << r.description;
            }
        }
        reportProgrammingError(QStringLiteral("the required layout constraints of %1 cannot all hold; "
                                              "laid out as well as they allow: %2")
                                   .arg(rootName(root), required.join(QStringLiteral("; "))),
                               nullptr);
        values = solveRelations(relations, unknowns, true);
        if (!values) {
            return frames;
        }
    }

    std::vector<QWidget*> order = problem.solved;
    std::stable_sort(order.begin(), order.end(), [root](const QWidget* a, const QWidget* b) {
        return depthUnder(a, root) < depthUnder(b, root);
    });
    for (QWidget* w : order) {
        const std::size_t u = *problem.unknownOf(w);
        const QRectF frame((*values)[u], (*values)[u + 1], (*values)[u + 2], (*values)[u + 3]);
        frames[w] = frame;
        const int left = static_cast<int>(std::lround(frame.left()));
        const int top = static_cast<int>(std::lround(frame.top()));
        const int right = static_cast<int>(std::lround(frame.left() + frame.width()));
        const int bottom = static_cast<int>(std::lround(frame.top() + frame.height()));
        QWidget* parent = w->parentWidget();
        const QPoint origin = parent == root ? QPoint(left, top) : parent->mapFrom(root, QPoint(left, top));
        w->setGeometry(QRect(origin, QSize(std::max(0, right - left), std::max(0, bottom - top))));
    }
    return frames;
}

}  // namespace platform::ui
