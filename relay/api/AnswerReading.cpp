#include "relay/api/AnswerReading.h"

#include "relay/access/OpenSslHandles.h"
#include "relay/api/SdpSection.h"

#include <QList>

#include <algorithm>
#include <array>
#include <optional>

namespace wingbell {

namespace {

/// Something read, or a reason for a person.
template <typename Type> using Reading = std::variant<Type, QString>;

/// What an attribute of the one section counts for: what stands there or else before it.
std::vector<QByteArrayView>
valuesOf(QByteArrayView name, const SdpSection& media, const SdpSection& session)
{
    std::vector<QByteArrayView> values = media.values(name);
    return values.empty() ? session.values(name) : values;
}

bool isIceCharacter(char character)
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '+' || character == '/';
}

Reading<QByteArray>
iceWord(QByteArrayView name, qsizetype shortest, const SdpSection& media, const SdpSection& session)
{
    constexpr qsizetype longest = 256;
    const std::vector<QByteArrayView> values = valuesOf(name, media, session);
    const auto isSound = [shortest](QByteArrayView value) {
        return value.size() >= shortest && value.size() <= longest &&
               std::all_of(value.begin(), value.end(), isIceCharacter);
    };
    if (values.size() != 1 || !isSound(values.front())) {
        return QStringLiteral("it has not one sound %1").arg(QString::fromLatin1(name));
    }
    return values.front().toByteArray();
}

struct Hash
{
    QByteArrayView name;
    qsizetype bytes;
};
constexpr std::array<Hash, 3> hashes = {
    Hash{QByteArrayView("sha-256"), 32}, Hash{QByteArrayView("sha-384"), 48},
    Hash{QByteArrayView("sha-512"), 64}};

struct Fingerprint
{
    QByteArray hash;
    QByteArray pairs;
};

bool isHexadecimalDigit(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'F') ||
           (character >= 'a' && character <= 'f');
}

bool arePairs(QByteArrayView text, qsizetype count)
{
    if (text.size() != count * 3 - 1) {
        return false;
    }
    for (qsizetype at = 0; at < text.size(); ++at) {
        const bool fits = at % 3 == 2 ? text.at(at) == ':' : isHexadecimalDigit(text.at(at));
        if (!fits) {
            return false;
        }
    }
    return true;
}

/// A browser may tell several; of those that are sound, the one with the hash that stands first
/// above is taken.
Reading<Fingerprint> fingerprint(const SdpSection& media, const SdpSection& session)
{
    const std::vector<QByteArrayView> values = valuesOf("fingerprint", media, session);
    for (const Hash& hash : hashes) {
        for (const QByteArrayView value : values) {
            const qsizetype space = value.indexOf(' ');
            if (space < 0 || value.first(space).toByteArray().toLower() != hash.name) {
                continue;
            }
            const QByteArrayView pairs = value.sliced(space + 1);
            if (!arePairs(pairs, hash.bytes)) {
                return QStringLiteral("its fingerprint is broken");
            }
            return Fingerprint{hash.name.toByteArray(), pairs.toByteArray().toUpper()};
        }
    }
    return QStringLiteral("it has no fingerprint of a kind that can be checked");
}

Reading<MediaAnswer::Setup> setup(const SdpSection& media, const SdpSection& session)
{
    const std::vector<QByteArrayView> values = valuesOf("setup", media, session);
    if (values.size() == 1 && values.front() == QByteArrayView("active")) {
        return MediaAnswer::Setup::Active;
    }
    if (values.size() == 1 && values.front() == QByteArrayView("passive")) {
        return MediaAnswer::Setup::Passive;
    }
    return QStringLiteral("it does not say who of both begins");
}

struct DirectionWord
{
    QByteArrayView name;
    MediaAnswer::Direction direction;
};
constexpr std::array<DirectionWord, 4> directionWords = {
    DirectionWord{QByteArrayView("sendrecv"), MediaAnswer::Direction::SendReceive},
    DirectionWord{QByteArrayView("sendonly"), MediaAnswer::Direction::SendOnly},
    DirectionWord{QByteArrayView("recvonly"), MediaAnswer::Direction::ReceiveOnly},
    DirectionWord{QByteArrayView("inactive"), MediaAnswer::Direction::Inactive}};

std::vector<MediaAnswer::Direction> directionsIn(const SdpSection& section)
{
    std::vector<MediaAnswer::Direction> found;
    for (const SdpSection::Attribute& attribute : section.attributes) {
        for (const DirectionWord& word : directionWords) {
            if (attribute.name == word.name) {
                found.push_back(word.direction);
            }
        }
    }
    return found;
}

/// Where nothing is said, both speak.
Reading<MediaAnswer::Direction> direction(const SdpSection& media, const SdpSection& session)
{
    std::vector<MediaAnswer::Direction> found = directionsIn(media);
    if (found.empty()) {
        found = directionsIn(session);
    }
    if (found.size() > 1) {
        return QStringLiteral("it gives two directions");
    }
    return found.empty() ? MediaAnswer::Direction::SendReceive : found.front();
}

/// "111 opus/48000/2" among the section's formats.
bool namesOpus(const SdpSection& media)
{
    const std::vector<QByteArrayView> maps = media.values("rtpmap");
    return std::any_of(maps.begin(), maps.end(), [](QByteArrayView map) {
        return map.toByteArray().toLower() == "111 opus/48000/2";
    });
}

/// Why the "m=" line or what it takes does not fit the offer.
std::optional<QString> problemOfMedia(const SdpSection& media)
{
    constexpr qsizetype port = 1;
    constexpr qsizetype protocol = 2;
    constexpr qsizetype firstFormat = 3;
    const QList<QByteArray> words = media.media.toByteArray().split(' ');
    if (words.size() <= firstFormat || words.constFirst() != "audio") {
        return QStringLiteral("its section is not one of audio");
    }
    if (words.at(port) == "0") {
        return QStringLiteral("it declines the voice");
    }
    if (words.at(protocol) != "UDP/TLS/RTP/SAVPF") {
        return QStringLiteral("it wants another protocol");
    }
    if (!words.sliced(firstFormat).contains("111") || !namesOpus(media)) {
        return QStringLiteral("it does not take Opus as it was offered");
    }
    if (media.values("rtcp-mux").empty()) {
        return QStringLiteral("it wants a port of its own for reports");
    }
    return std::nullopt;
}

/// Moves what was read to `target`, or returns why nothing was.
template <typename Type> std::optional<QString> take(Reading<Type> reading, Type& target)
{
    if (auto* problem = std::get_if<QString>(&reading)) {
        return std::move(*problem);
    }
    target = std::get<Type>(std::move(reading));
    return std::nullopt;
}

Reading<MediaAnswer> answerIn(const SdpSection& media, const SdpSection& session)
{
    constexpr qsizetype shortestUser = 4;
    constexpr qsizetype shortestPassword = 22;
    MediaAnswer answer;
    Fingerprint print;
    std::optional<QString> problem = problemOfMedia(media);
    if (!problem) {
        problem = take(iceWord("ice-ufrag", shortestUser, media, session), answer.iceUser);
    }
    if (!problem) {
        problem = take(iceWord("ice-pwd", shortestPassword, media, session), answer.icePassword);
    }
    if (!problem) {
        problem = take(fingerprint(media, session), print);
    }
    if (!problem) {
        problem = take(setup(media, session), answer.setup);
    }
    if (!problem) {
        problem = take(direction(media, session), answer.direction);
    }
    if (problem) {
        return *problem;
    }
    answer.fingerprintHash = print.hash;
    answer.fingerprint = print.pairs;
    return answer;
}

QByteArray wordFor(MediaAnswer::Direction direction)
{
    const auto* word =
        std::find_if(directionWords.begin(), directionWords.end(), [direction](const auto& entry) {
            return entry.direction == direction;
        });
    return word->name.toByteArray();
}

const EVP_MD* hashNamed(const QByteArray& name)
{
    return name == "sha-256" ? EVP_sha256() : name == "sha-384" ? EVP_sha384() : EVP_sha512();
}

} // namespace

std::variant<MediaAnswer, QString> readMediaAnswer(QByteArrayView sdp)
{
    if (sdp.size() > longestSdp) {
        return QStringLiteral("it is longer than an answer can be");
    }
    const auto sections = sdpSections(sdp);
    if (!sections) {
        return QStringLiteral("it is no session description");
    }
    if (sections->size() != 2) {
        return QStringLiteral("it has not one section but %1").arg(sections->size() - 1);
    }
    return answerIn(sections->back(), sections->front());
}

QByteArray canonicalAnswer(const MediaAnswer& answer, QByteArrayView mid)
{
    const QByteArray name = mid.toByteArray();
    const QByteArray setup = answer.setup == MediaAnswer::Setup::Active ? "active" : "passive";
    const QList<QByteArray> lines = {
        "v=0",
        "o=- 1 1 IN IP4 0.0.0.0",
        "s=-",
        "t=0 0",
        "a=group:BUNDLE " + name,
        "m=audio 9 UDP/TLS/RTP/SAVPF 111",
        "c=IN IP4 0.0.0.0",
        "a=mid:" + name,
        "a=ice-ufrag:" + answer.iceUser,
        "a=ice-pwd:" + answer.icePassword,
        "a=fingerprint:" + answer.fingerprintHash + ' ' + answer.fingerprint,
        "a=setup:" + setup,
        "a=" + wordFor(answer.direction),
        "a=rtcp-mux",
        "a=rtpmap:111 opus/48000/2",
        "a=fmtp:111 minptime=10;useinbandfec=1",
        "", // the last line ends like the others
    };
    return lines.join("\r\n");
}

bool isCertificateOf(const MediaAnswer& answer, const QByteArray& pem)
{
    const OpenSslErrorScope errors;
    const X509Handle certificate = certificateIn(pem);
    return certificate &&
           digestOf(*certificate, hashNamed(answer.fingerprintHash)) == answer.fingerprint;
}

} // namespace wingbell
