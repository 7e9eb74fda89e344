#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

namespace wingbell {

/// The keys in the QR codes of one show's cards: with one, a person joins without the six digits.
///
/// A key is 128 bits, in base64url: an HMAC (SHA-256, cut) of the show's name and the role's key
/// under the secret of this desk. So nothing is stored for a card, and a card stays good as long as
/// the show keeps its name, even if the show has lost the role.
class CardKeys
{
public:
    /// `secret` should be of 256 bits.
    CardKeys(const QByteArray& secret, const QString& show);

    /// Of the card of the role with this key; of the card for the door if that is empty.
    [[nodiscard]] QString keyFor(const QString& role) const;

    /// True if `given` is the key of the card for `role`, or of the one for the door. Compares in
    /// constant time.
    [[nodiscard]] bool matches(QStringView given, const QString& role) const;

    /// By this the desk's own page is opened. Made of the secret alone, it stays from show to show.
    [[nodiscard]] const QString& deskKey() const { return m_deskKey; }
    /// Compares in constant time.
    [[nodiscard]] bool isDeskKey(QStringView given) const;

private:
    QByteArray m_showSecret;
    QString m_deskKey;
    QString m_doorKey;
};

class StateDirectory;

/// The secret of this desk, which stays from one start of the server to the next. The texts are
/// clauses for a person, empty where there is nothing to tell.
struct StoredCardSecret
{
    QByteArray secret;
    QString replacedBecause;  ///< why a secret that was there is not used
    QString notStoredBecause; ///< of a new one
};

/// The secret in `folder`. Where there is none, or none that can be believed, a new one, which is
/// stored there.
[[nodiscard]] StoredCardSecret loadOrCreateCardSecret(const StateDirectory& folder);

} // namespace wingbell
