#pragma once
#include <QList>
#include <QString>

#include <functional>
#include <map>
#include <vector>

// A small solver for linear layout constraints: sum(coefficient × variable) +
// constant relation 0, where the relation is =, <= or >=, each with a priority
// from 1 to 1000 (1000 = required).
//
// Constraints are satisfied in priority order (ties in the order they were
// added): a constraint that contradicts those before it is left out, so a
// higher priority always wins outright over a lower one. An inequality is
// enforced at its bound only when the solution would otherwise break it. A
// variable no constraint determines keeps its current value (set it with
// setValue() to say where it should stay).
//
// A required constraint that cannot be satisfied is left out and reported to
// the conflict handler once for as long as it stays in the solver; solving goes
// on with the others. Not thread-safe: one owner at a time.
class PLVConstraintSolver
{
public:
    using Variable = int;
    using ConstraintId = unsigned long long;
    enum class Relation { LessOrEqual = -1, Equal = 0, GreaterOrEqual = 1 };
    static constexpr double Required = 1000.0;

    struct Term {
        Variable variable;
        double coefficient;
    };

    Variable addVariable(double value = 0.0, const QString &name = QString());
    int variableCount() const { return int(m_values.size()); }
    QString variableName(Variable v) const;
    double value(Variable v) const;
    // Where an undetermined variable stays; overwritten by the next solve().
    void setValue(Variable v, double value);

    // Terms naming unknown variables make the constraint inert (never satisfied,
    // never reported). A priority outside 1...1000 is clamped into it.
    ConstraintId addConstraint(const QList<Term> &terms, double constant, Relation relation,
                               double priority = Required);
    // False when there is no such constraint.
    bool removeConstraint(ConstraintId id);
    bool hasConstraint(ConstraintId id) const { return m_constraints.count(id) != 0; }
    bool setConstant(ConstraintId id, double constant);
    bool setPriority(ConstraintId id, double priority);
    int constraintCount() const { return int(m_constraints.size()); }

    // Recomputes every variable.
    void solve();
    // After solve(): the constraints left out, in priority order.
    QList<ConstraintId> unsatisfiedConstraints() const { return m_unsatisfied; }
    bool isSatisfied(ConstraintId id) const { return hasConstraint(id) && !m_unsatisfied.contains(id); }

    // Called once per required constraint that cannot be satisfied.
    void setConflictHandler(std::function<void(ConstraintId)> handler) { m_conflictHandler = std::move(handler); }

private:
    struct Constraint {
        std::vector<Term> terms;
        double constant = 0.0;
        Relation relation = Relation::Equal;
        double priority = Required;
        bool inert = false;
        bool reported = false;
    };

    std::vector<ConstraintId> priorityOrder() const;
    double residual(const Constraint &c) const;

    std::vector<double> m_values;
    std::vector<QString> m_names;
    std::map<ConstraintId, Constraint> m_constraints;
    ConstraintId m_nextId = 1;
    QList<ConstraintId> m_unsatisfied;
    std::function<void(ConstraintId)> m_conflictHandler;
};
