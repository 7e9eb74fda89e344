#pragma once

#include "base/Result.h"
#include "model/Role.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace wingbell {

/// The OSC port of a show that names none.
inline constexpr qint64 defaultOscPort = 47000;

/// A show as it stands in its document. Exists to be read and written; the live copy is ShowConfig.
struct ShowFile
{
    QString show;
    QStringList channels;            ///< in display order
    QList<Role> roles;               ///< in display order
    qint64 oscPort = defaultOscPort; ///< as found: no range is checked here

    friend bool operator==(const ShowFile&, const ShowFile&) = default;
};

/// The built-in show: what a new store holds and what stands in for a document that cannot be read.
/// Built once, on first use; its roles keep their identifiers for the whole run.
[[nodiscard]] const ShowFile& defaultShow();

/// The largest document that is read, in bytes. A show takes a few kilobytes; of a
/// hostile document the parser makes some forty times its size.
inline constexpr qsizetype maxShowDocumentSize = 8LL * 1024 * 1024;

/// Why a show cannot be read.
struct ShowError
{
    QString reason;         ///< for a person: lower case, no full stop
    bool isMissing = false; ///< there is no file
};

/// The document for `show`: UTF-8 JSON, indented, members in the order of the struct, slashes
/// plain. A lone surrogate, which is no text, becomes a question mark. Nothing if encoding fails.
[[nodiscard]] std::optional<QByteArray> encodeShow(const ShowFile& show);

/// Reads a document as a whole or not at all. Unknown members are ignored, of a member that stands
/// twice the last one counts, every role gets a fresh id, a missing or null "oscPort" is the
/// default port. Takes any bytes whatever.
[[nodiscard]] Result<ShowFile, ShowError> decodeShow(const QByteArray& document);

/// Reads the document at `path` (see decodeShow). Never waits on anything that is no regular file.
[[nodiscard]] Result<ShowFile, ShowError> readShow(const QString& path);

} // namespace wingbell
