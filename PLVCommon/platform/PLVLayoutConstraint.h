#pragma once
#include <QLayout>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSize>
#include <QWidget>

// One linear relation between two views' attributes:
//   firstItem.firstAttribute  relation  secondItem.secondAttribute × multiplier + constant
// or, without a second item, firstItem.firstAttribute relation constant.
//
// Positions are measured in the coordinates of the views' top-most ancestor,
// with y growing downwards (so "bottom = top + 6" puts a view 6 points below
// another, whatever the views' own orientation).
//
// A constraint belongs to its first item (it is deleted with it). Active
// constraints are solved by the PLVConstraintLayout of the items' top-most
// ancestor, installed there on first use. Removing a view from its superview
// deactivates the constraints that tie its subtree to the views outside it.
class PLVLayoutConstraint : public QObject
{
    Q_OBJECT
    Q_PROPERTY(double constant READ constant WRITE setConstant)
    Q_PROPERTY(float priority READ priority WRITE setPriority)
    Q_PROPERTY(bool active READ isActive WRITE setActive)
public:
    enum Attribute {
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
    Q_ENUM(Attribute)
    enum Relation { LessThanOrEqual = -1, Equal = 0, GreaterThanOrEqual = 1 };
    Q_ENUM(Relation)

    static constexpr float PriorityRequired = 1000.0f;
    static constexpr float PriorityDefaultHigh = 750.0f;
    static constexpr float PriorityWindowSizeStayPut = 500.0f;
    static constexpr float PriorityDefaultLow = 250.0f;

    // Made inactive. Null without a first item, with an attribute out of range,
    // or with a second attribute but no second item.
    static PLVLayoutConstraint *constraintWithItem(QWidget *item1, int attribute1, Relation relation, QWidget *item2,
                                                   int attribute2, double multiplier, double constant);

    QWidget *firstItem() const { return m_first.data(); }
    QWidget *secondItem() const { return m_second.data(); }
    Attribute firstAttribute() const { return m_firstAttribute; }
    Attribute secondAttribute() const { return m_secondAttribute; }
    Relation relation() const { return m_relation; }
    double multiplier() const { return m_multiplier; }

    double constant() const { return m_constant; }
    void setConstant(double constant);
    float priority() const { return m_priority; }
    // Clamped into 1...1000.
    void setPriority(float priority);

    bool isActive() const { return m_active; }
    void setActive(bool active);
    static void activateConstraints(const QList<PLVLayoutConstraint *> &constraints);
    static void deactivateConstraints(const QList<PLVLayoutConstraint *> &constraints);

    // The active constraints that name the view (as first or second item).
    static QList<PLVLayoutConstraint *> constraintsAffecting(const QWidget *view);
    // Every active constraint, in activation order.
    static QList<PLVLayoutConstraint *> activeConstraints();

    // Readable form for diagnostics, e.g. "bar.Top == box.Bottom × 1 + 6 @1000".
    QString description() const;

    ~PLVLayoutConstraint() override;

private:
    PLVLayoutConstraint(QWidget *item1, Attribute a1, Relation r, QWidget *item2, Attribute a2, double multiplier,
                        double constant);
    void requestLayout() const;
    friend class PLVConstraintLayout;

    QPointer<QWidget> m_first;
    QPointer<QWidget> m_second;
    Attribute m_firstAttribute;
    Attribute m_secondAttribute;
    Relation m_relation;
    double m_multiplier;
    double m_constant;
    float m_priority = PriorityRequired;
    bool m_active = false;
    bool m_conflictReported = false;
    QMetaObject::Connection m_secondGone;
};

// Lays out the views under one top-most widget by its active constraints. It
// holds no layout items: every view it places is named by a constraint.
// Views no constraint determines keep their geometry; a widget that is not a
// PLVView keeps its size hint at low priority (its natural size). The top-most
// widget keeps its own size at window-size priority: required constraints can
// ask for another, which fittingSize() reports.
class PLVConstraintLayout : public QLayout
{
    Q_OBJECT
public:
    explicit PLVConstraintLayout(QWidget *root);
    ~PLVConstraintLayout() override;

    // The top-most ancestor of the view (the view itself when it has none).
    static QWidget *rootOf(QWidget *view);
    // The layout of the view's top-most ancestor, installed when that has no
    // layout; null when it has a layout of another kind.
    static PLVConstraintLayout *forView(QWidget *view);
    // Lays out the view's whole tree now.
    static void layoutSubtreeIfNeeded(QWidget *view);

    // The size of the top-most widget that the constraints ask for, with its
    // current size as the weakest wish.
    QSize fittingSize() const;
    // Constraints left out of the last layout pass.
    QList<PLVLayoutConstraint *> unsatisfiedConstraints() const { return m_unsatisfied; }

    void addItem(QLayoutItem *item) override;
    QLayoutItem *itemAt(int) const override { return nullptr; }
    QLayoutItem *takeAt(int) override { return nullptr; }
    int count() const override { return 0; }
    QSize sizeHint() const override { return fittingSize(); }
    QSize minimumSize() const override { return QSize(0, 0); }
    Qt::Orientations expandingDirections() const override { return Qt::Horizontal | Qt::Vertical; }
    void setGeometry(const QRect &rect) override;

signals:
    // After a layout pass whose constraints ask the top-most widget for another size.
    void fittingSizeChanged(const QSize &size);

private:
    struct Solution;
    Solution solve(const QSize &rootSize, float rootSizePriority) const;
    QWidget *root() const { return parentWidget(); }

    QList<PLVLayoutConstraint *> m_unsatisfied;
    bool m_inPass = false;
};
