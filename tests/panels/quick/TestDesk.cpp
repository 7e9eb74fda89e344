#include "TestDesk.h"

#include "panels/controls/FlowLayout.h"
#include "server/ServerController.h"
#include "tests/fixtures/ChildProcesses.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QQuickWindow>
#include <QtTest>

#include <csignal>
#include <sys/types.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace wingbell {

/// Notes what it is asked for.
class RecordingSleepInhibitor final : public SleepInhibitor
{
public:
    quint32 inhibit(const QString& /*reason*/) override
    {
        calls.append(u"inhibit"_s);
        return 1;
    }
    void release(quint32 /*identifier*/) override { calls.append(u"release"_s); }

    QStringList calls;
};

namespace {

const QStringList openedSchemes = {u"http"_s, u"https"_s, u"file"_s};

QList<QSizeF> sizesOf(const QVariantList& values)
{
    QList<QSizeF> sizes;
    for (const QVariant& value : values) {
        sizes.append(value.toSizeF());
    }
    return sizes;
}

} // namespace

TestDesk::TestDesk(QObject* parent)
    : QObject(parent)
    , m_config(QDir(m_folder.filePath(u"show"_s)))
    , m_sleep(std::make_unique<RecordingSleepInhibitor>())
    , m_server(std::make_unique<ServerController>(
          m_config, [this] { return m_serverPath; }, *m_sleep))
{
    for (const QString& scheme : openedSchemes) {
        QDesktopServices::setUrlHandler(scheme, this, "noteAddress");
    }
}

TestDesk::~TestDesk()
{
    for (const QString& scheme : openedSchemes) {
        QDesktopServices::unsetUrlHandler(scheme);
    }
}

void TestDesk::noteAddress(const QUrl& address)
{
    m_openedAddresses.append(address.toString(QUrl::FullyEncoded));
}

void TestDesk::writeShow(const QString& document) const
{
    QDir(m_folder.path()).mkpath(u"show"_s);
    QFile file(m_folder.filePath(u"show/roles.json"_s));
    if (!file.open(QIODevice::WriteOnly) || file.write(document.toUtf8()) < 0) {
        qFatal("The test's own show cannot be written");
    }
}

QString TestDesk::savedShow() const
{
    QFile file(m_folder.filePath(u"show/roles.json"_s));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void TestDesk::makeSavingFail() const
{
    // A folder in the file's place stops every user, the administrator too.
    QFile::remove(m_folder.filePath(u"show/roles.json"_s));
    QDir(m_folder.path()).mkpath(u"show/roles.json"_s);
}

int TestDesk::roleCount() const
{
    return static_cast<int>(m_config.roles().size());
}

Role TestDesk::role(int position) const
{
    return m_config.roles().value(position);
}

void TestDesk::setRoles(const QStringList& names)
{
    QList<Role> roles;
    for (const QString& name : names) {
        roles.append(Role{QUuid::createUuid(), name, {}, {}});
    }
    m_config.setRoles(roles);
}

void TestDesk::setLargeShow(int roles, int channels)
{
    QStringList names;
    for (int number = 1; number <= channels; ++number) {
        names.append(u"Channel %1"_s.arg(number));
    }
    QList<Role> everyone;
    for (int number = 1; number <= roles; ++number) {
        everyone.append(Role{QUuid::createUuid(), u"Role %1"_s.arg(number), names, names});
    }
    m_config.setChannels(names);
    m_config.setRoles(everyone);
}

void TestDesk::serverIs(const QString& behaviour)
{
    const QString link = m_folder.filePath(behaviour);
    QFile::link(QStringLiteral(MISBEHAVING_SERVER), link);
    m_serverPath = link;
}

void TestDesk::serverIsNoProgram()
{
    m_serverPath = m_folder.path();
}

int TestDesk::serverCount()
{
    return static_cast<int>(childProcesses().size());
}

void TestDesk::killServers()
{
    for (const pid_t pid : childProcesses()) {
        ::kill(pid, SIGKILL);
    }
}

QStringList TestDesk::sleepCalls() const
{
    return m_sleep->calls;
}

void TestDesk::sendKey(QQuickItem* item, bool isDown, int key, const QString& text, double time)
{
    const QEvent::Type type = isDown ? QEvent::KeyPress : QEvent::KeyRelease;
    QKeyEvent event(type, key, Qt::NoModifier, text);
    event.setTimestamp(static_cast<quint64>(time));
    QCoreApplication::sendEvent(item->window(), &event);
}

void TestDesk::sendButton(QQuickItem* item, bool isDown, const QPointF& place, double time)
{
    const QPointF position = item->mapToScene(place);
    QMouseEvent event(
        isDown ? QEvent::MouseButtonPress : QEvent::MouseButtonRelease, position,
        item->window()->mapToGlobal(position), Qt::LeftButton,
        isDown ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
    event.setTimestamp(static_cast<quint64>(time));
    QCoreApplication::sendEvent(item->window(), &event);
}

int TestDesk::pointerShape(QQuickItem* item)
{
    const QPointF place = item->mapToScene(QPointF(item->width() / 2.0, item->height() / 2.0));
    QTest::mouseMove(item->window(), place.toPoint());
    return item->window()->cursor().shape();
}

QString TestDesk::clipboard()
{
    return QGuiApplication::clipboard()->text();
}

void TestDesk::setClipboard(const QString& text)
{
    QGuiApplication::clipboard()->setText(text);
}

void TestDesk::clearClipboard()
{
    QGuiApplication::clipboard()->clear();
}

QVariantList TestDesk::rowPlaces(double width, double spacing, const QVariantList& sizes)
{
    QVariantList places;
    const QRectF bounds(0.0, 0.0, width, 0.0);
    for (const QPointF& place : FlowLayout{spacing}.placeSubviews(bounds, sizesOf(sizes))) {
        places.append(place);
    }
    return places;
}

QSizeF TestDesk::rowsSize(double width, double spacing, const QVariantList& sizes)
{
    return FlowLayout{spacing}.sizeThatFits(width, sizesOf(sizes));
}

} // namespace wingbell
