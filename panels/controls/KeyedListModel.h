#pragma once

#include <QAbstractListModel>
#include <QList>

#include <algorithm>

namespace wingbell {

/// A list model whose rows are known by a key, and are brought in line with a new list by removals,
/// moves and insertions: a view keeps the delegates of all rows that stay. `Row` has a `key()` and
/// is comparable.
template <typename Row> class KeyedListModel : public QAbstractListModel
{
public:
    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
    }

protected:
    [[nodiscard]] const QList<Row>& rows() const { return m_rows; }

    /// Changes a row, which may get another key: its delegate stays.
    void setRow(qsizetype at, const Row& row)
    {
        if (!(m_rows.at(at) == row)) {
            m_rows[at] = row;
            Q_EMIT dataChanged(index(toRow(at)), index(toRow(at)));
        }
    }

    /// Takes `wanted` for its rows. Costs no more than a comparison a row where the keys stay.
    void sync(const QList<Row>& wanted)
    {
        const qsizetype begin = commonAtStart(wanted);
        const qsizetype atEnd = commonAtEnd(wanted, begin);
        const qsizetype wantedEnd = wanted.size() - atEnd;
        removeUnless(begin, atEnd, [&](const Row& row) {
            return std::any_of(
                wanted.cbegin() + begin, wanted.cbegin() + wantedEnd,
                [&row](const Row& other) { return other.key() == row.key(); });
        });
        for (qsizetype at = begin; at < wantedEnd; ++at) {
            bringTo(at, m_rows.size() - atEnd, wanted.at(at));
        }
        // What is left over repeats a key that stands further up.
        removeUnless(wantedEnd, atEnd, [](const Row& /*row*/) { return false; });
        takeContents(wanted);
    }

private:
    static int toRow(qsizetype position) { return static_cast<int>(position); }

    static bool isSameRow(const Row& one, const Row& other) { return one.key() == other.key(); }

    qsizetype commonAtStart(const QList<Row>& wanted) const
    {
        const auto common = std::mismatch(
            m_rows.cbegin(), m_rows.cend(), wanted.cbegin(), wanted.cend(), isSameRow);
        return common.first - m_rows.cbegin();
    }

    qsizetype commonAtEnd(const QList<Row>& wanted, qsizetype atStart) const
    {
        const auto common = std::mismatch(
            m_rows.crbegin(), m_rows.crend() - atStart, wanted.crbegin(), wanted.crend() - atStart,
            isSameRow);
        return common.first - m_rows.crbegin();
    }

    template <typename Stays>
    void removeUnless(qsizetype begin, qsizetype atEnd, const Stays& stays)
    {
        for (qsizetype at = m_rows.size() - atEnd - 1; at >= begin; --at) {
            if (!stays(m_rows.at(at))) {
                beginRemoveRows({}, toRow(at), toRow(at));
                m_rows.removeAt(at);
                endRemoveRows();
            }
        }
    }

    void bringTo(qsizetype at, qsizetype end, const Row& row)
    {
        const auto found =
            std::find_if(m_rows.cbegin() + at, m_rows.cbegin() + end, [&row](const Row& other) {
                return other.key() == row.key();
            });
        const qsizetype from = found - m_rows.cbegin();
        if (from == end) {
            beginInsertRows({}, toRow(at), toRow(at));
            m_rows.insert(at, row);
            endInsertRows();
        } else if (from != at) {
            beginMoveRows({}, toRow(from), toRow(from), {}, toRow(at));
            m_rows.move(from, at);
            endMoveRows();
        }
    }

    void takeContents(const QList<Row>& wanted)
    {
        for (qsizetype at = 0; at < wanted.size(); ++at) {
            setRow(at, wanted.at(at));
        }
    }

    QList<Row> m_rows;
};

} // namespace wingbell
