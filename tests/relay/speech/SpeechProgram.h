#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <string>

namespace wingbell {

/// A speech program that behaves as `name` says, in a folder of its own that goes with it.
class SpeechProgram
{
public:
    explicit SpeechProgram(const QString& name)
        : m_path(m_folder.filePath(name))
    {
        m_isThere = QFile::link(QStringLiteral(MISBEHAVING_SPEECH), m_path);
    }

    [[nodiscard]] bool isThere() const { return m_isThere; }
    [[nodiscard]] std::string path() const { return m_path.toStdString(); }

    /// The voice of each call so far.
    [[nodiscard]] QStringList calls() const { return lines(QStringLiteral(".calls")); }
    /// What it wrote down, if it writes anything down.
    [[nodiscard]] QStringList notes() const { return lines(QStringLiteral(".notes")); }

private:
    [[nodiscard]] QStringList lines(const QString& kind) const
    {
        QFile file(m_path + kind);
        if (!file.open(QIODevice::ReadOnly)) {
            return {};
        }
        return QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }

    QTemporaryDir m_folder;
    QString m_path;
    bool m_isThere = false;
};

} // namespace wingbell
