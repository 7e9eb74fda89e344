#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QProcessEnvironment>
#include <QString>

#include <optional>

namespace wingbell {

/// The folder that keeps the crew's code and certificate from one start to the next. It and its
/// files are for this user alone: nothing is taken from a folder that another user owns, from a
/// file that another user owns or could have read or written, nor through a symbolic link.
///
/// Every call opens the folder anew. Reasons are for a person: clauses without a capital or a full
/// stop.
class CrewFolder
{
public:
    /// In bytes; nothing that is kept here comes near.
    static constexpr qsizetype largestFile = 65536;

    /// `path` need not exist.
    explicit CrewFolder(QString path);

    /// "wingbell" in $XDG_STATE_HOME, or in .local/state of the user's home.
    [[nodiscard]] static QString standardPath(const QProcessEnvironment& environment);

    /// What came of reading a file. Neither bytes nor a problem: there is none of this name.
    struct Reading
    {
        std::optional<QByteArray> bytes;
        QString problem;
    };
    [[nodiscard]] Reading read(const QString& name) const;

    /// Replaces the file as a whole or not at all, making the folder where it is missing. Returns
    /// why that could not be done; nothing when it is done.
    [[nodiscard]] std::optional<QString> write(const QString& name, QByteArrayView bytes) const;

    [[nodiscard]] const QString& path() const { return m_path; }

private:
    QString m_path;
};

} // namespace wingbell
