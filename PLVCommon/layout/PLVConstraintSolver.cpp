#include "PLVConstraintSolver.h"

#include <algorithm>
#include <cmath>
#include <set>

namespace {

constexpr double kZero = 1e-9;     // a coefficient this small (relative) is no coefficient
constexpr double kSatisfied = 1e-6; // points: a residual this small is met

double clampPriority(double p)
{
    if (!std::isfinite(p))
        return PLVConstraintSolver::Required;
    return std::clamp(p, 1.0, PLVConstraintSolver::Required);
}

// Rows of a system kept in reduced row echelon form: each row has 1 at its pivot
// variable and 0 at every other row's pivot. A row is [coefficients..., constant].
class Echelon
{
public:
    explicit Echelon(int variables) : m_n(variables), m_pivotRow(size_t(variables), -1) {}

    // Adds the row unless it contradicts the rows already there; a row the
    // others already imply is accepted and changes nothing.
    bool add(std::vector<double> e)
    {
        double scale = 0.0;
        for (int j = 0; j < m_n; ++j)
            scale = std::max(scale, std::abs(e[size_t(j)]));
        for (size_t r = 0; r < m_rows.size(); ++r) {
            const double f = e[size_t(m_pivots[r])];
            if (f != 0.0)
                for (int j = 0; j <= m_n; ++j)
                    e[size_t(j)] -= f * m_rows[r][size_t(j)];
        }
        int pivot = -1;
        double best = kZero * std::max(scale, 1.0);
        for (int j = 0; j < m_n; ++j) {
            if (std::abs(e[size_t(j)]) > best) {
                best = std::abs(e[size_t(j)]);
                pivot = j;
            }
        }
        if (pivot < 0)
            return std::abs(e[size_t(m_n)]) <= kSatisfied;
        const double p = e[size_t(pivot)];
        for (double &x : e)
            x /= p;
        for (int j = 0; j < m_n; ++j)
            if (std::abs(e[size_t(j)]) <= kZero)
                e[size_t(j)] = 0.0;
        e[size_t(pivot)] = 1.0;
        for (auto &row : m_rows) {
            const double f = row[size_t(pivot)];
            if (f != 0.0) {
                for (int j = 0; j <= m_n; ++j)
                    row[size_t(j)] -= f * e[size_t(j)];
                row[size_t(pivot)] = 0.0;
            }
        }
        m_pivotRow[size_t(pivot)] = int(m_rows.size());
        m_pivots.push_back(pivot);
        m_rows.push_back(std::move(e));
        return true;
    }

    // Free variables keep `values`; pivot variables follow from them.
    void resolve(std::vector<double> &values) const
    {
        for (size_t r = 0; r < m_rows.size(); ++r) {
            const auto &row = m_rows[r];
            double v = -row[size_t(m_n)];
            for (int j = 0; j < m_n; ++j)
                if (m_pivotRow[size_t(j)] < 0 && row[size_t(j)] != 0.0)
                    v -= row[size_t(j)] * values[size_t(j)];
            values[size_t(m_pivots[r])] = v;
        }
    }

private:
    int m_n;
    std::vector<std::vector<double>> m_rows;
    std::vector<int> m_pivots;
    std::vector<int> m_pivotRow;
};

} // namespace

PLVConstraintSolver::Variable PLVConstraintSolver::addVariable(double value, const QString &name)
{
    m_values.push_back(std::isfinite(value) ? value : 0.0);
    m_names.push_back(name);
    return Variable(m_values.size() - 1);
}

QString PLVConstraintSolver::variableName(Variable v) const
{
    return v >= 0 && size_t(v) < m_names.size() ? m_names[size_t(v)] : QString();
}

double PLVConstraintSolver::value(Variable v) const
{
    return v >= 0 && size_t(v) < m_values.size() ? m_values[size_t(v)] : 0.0;
}

void PLVConstraintSolver::setValue(Variable v, double value)
{
    if (v >= 0 && size_t(v) < m_values.size() && std::isfinite(value))
        m_values[size_t(v)] = value;
}

PLVConstraintSolver::ConstraintId PLVConstraintSolver::addConstraint(const QList<Term> &terms, double constant,
                                                                     Relation relation, double priority)
{
    Constraint c;
    c.constant = constant;
    c.relation = relation;
    c.priority = clampPriority(priority);
    c.inert = !std::isfinite(constant);
    for (const Term &t : terms) {
        if (t.variable < 0 || size_t(t.variable) >= m_values.size() || !std::isfinite(t.coefficient))
            c.inert = true;
        c.terms.push_back(t);
    }
    const ConstraintId id = m_nextId++;
    m_constraints.emplace(id, std::move(c));
    return id;
}

bool PLVConstraintSolver::removeConstraint(ConstraintId id)
{
    m_unsatisfied.removeAll(id);
    return m_constraints.erase(id) != 0;
}

bool PLVConstraintSolver::setConstant(ConstraintId id, double constant)
{
    auto it = m_constraints.find(id);
    if (it == m_constraints.end() || !std::isfinite(constant))
        return false;
    it->second.constant = constant;
    return true;
}

bool PLVConstraintSolver::setPriority(ConstraintId id, double priority)
{
    auto it = m_constraints.find(id);
    if (it == m_constraints.end())
        return false;
    it->second.priority = clampPriority(priority);
    return true;
}

std::vector<PLVConstraintSolver::ConstraintId> PLVConstraintSolver::priorityOrder() const
{
    std::vector<ConstraintId> order;
    order.reserve(m_constraints.size());
    for (const auto &[id, c] : m_constraints)
        order.push_back(id);
    // Ids grow with insertion, so a stable sort keeps ties in insertion order.
    std::stable_sort(order.begin(), order.end(), [this](ConstraintId a, ConstraintId b) {
        return m_constraints.at(a).priority > m_constraints.at(b).priority;
    });
    return order;
}

double PLVConstraintSolver::residual(const Constraint &c) const
{
    double r = c.constant;
    for (const Term &t : c.terms)
        r += t.coefficient * m_values[size_t(t.variable)];
    return r;
}

void PLVConstraintSolver::solve()
{
    const int n = variableCount();
    const std::vector<ConstraintId> order = priorityOrder();
    std::set<ConstraintId> pinned; // inequalities held at their bound
    size_t inequalities = 0;
    for (const auto &[id, c] : m_constraints)
        inequalities += c.relation != Relation::Equal;

    const std::vector<double> stays = m_values;
    for (size_t round = 0; round <= inequalities; ++round) {
        Echelon system(n);
        m_unsatisfied.clear();
        for (ConstraintId id : order) {
            const Constraint &c = m_constraints.at(id);
            if (c.inert) {
                m_unsatisfied.append(id);
                continue;
            }
            if (c.relation != Relation::Equal && !pinned.count(id))
                continue;
            std::vector<double> row(size_t(n) + 1, 0.0);
            for (const Term &t : c.terms)
                row[size_t(t.variable)] += t.coefficient;
            row[size_t(n)] = c.constant;
            if (!system.add(std::move(row)))
                m_unsatisfied.append(id);
        }
        m_values = stays;
        system.resolve(m_values);

        // The first broken inequality, by priority, is held at its bound next round.
        bool broken = false;
        for (ConstraintId id : order) {
            const Constraint &c = m_constraints.at(id);
            if (c.inert || c.relation == Relation::Equal || pinned.count(id))
                continue;
            const double r = residual(c);
            if ((c.relation == Relation::LessOrEqual && r > kSatisfied)
                || (c.relation == Relation::GreaterOrEqual && r < -kSatisfied)) {
                pinned.insert(id);
                broken = true;
                break;
            }
        }
        if (!broken)
            break;
    }

    for (ConstraintId id : std::as_const(m_unsatisfied)) {
        Constraint &c = m_constraints.at(id);
        if (c.priority >= Required && !c.inert && !c.reported) {
            c.reported = true;
            if (m_conflictHandler)
                m_conflictHandler(id);
        }
    }
}
