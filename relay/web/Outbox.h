#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <deque>

namespace wingbell {

/// Bytes on their way out, in order. Keeps what it is given without copying it.
class Outbox
{
public:
    void push(const QByteArray& bytes);

    [[nodiscard]] bool isEmpty() const { return m_pieces.empty(); }

    /// The next bytes, at most `most` and at least one; none when it is empty. Valid until the
    /// next call that is not const.
    [[nodiscard]] QByteArrayView front(qsizetype most) const;

    /// Drops `count` bytes of what front() gave.
    void drop(qsizetype count);

private:
    std::deque<QByteArray> m_pieces;
    qsizetype m_dropped = 0; ///< of the first piece
};

} // namespace wingbell
