#include "look/BrushedSteel.h"
#include "look/HexBolt.h"
#include "look/LampLight.h"
#include "look/LitText.h"
#include "tests/TestProgram.h"
#include "tests/app/ContentStage.h"

#include <QDesktopServices>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>

Q_IMPORT_QML_PLUGIN(Wingbell_LookPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_PanelsPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_AppPlugin)

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

/// Every item under `root`, in the order in which they are drawn over each other.
QList<QQuickItem*> itemsIn(QQuickItem* root)
{
    QList<QQuickItem*> items = {root};
    for (QQuickItem* const child : root->childItems()) {
        items.append(itemsIn(child));
    }
    return items;
}

/// Every item of that type under `root`.
template <typename Type> QList<Type*> allIn(QQuickItem* root)
{
    QList<Type*> found;
    for (QQuickItem* const item : itemsIn(root)) {
        if (auto* const one = qobject_cast<Type*>(item)) {
            found.append(one);
        }
    }
    return found;
}

/// The first visible item inside `root` that shows or holds that text or has it as its placeholder.
QQuickItem* textIn(QQuickItem* root, const QString& text)
{
    for (QQuickItem* const item : itemsIn(root).mid(1)) {
        if (item->isVisible() &&
            (item->property("text") == text || item->property("placeholderText") == text ||
             (item->inherits("wingbell::PressArea") && item->property("name") == text))) {
            return item;
        }
    }
    return nullptr;
}

QRectF placeIn(QQuickItem* root, QQuickItem* item)
{
    return item->mapRectToItem(root, QRectF(QPointF(), item->size()));
}

/// The places of the bolts on `root`, sorted from top to bottom and from left to right.
QList<QRectF> boltsOn(QQuickItem* root)
{
    QList<QRectF> places;
    for (HexBolt* const bolt : allIn<HexBolt>(root)) {
        places.append(placeIn(root, bolt));
    }
    std::sort(places.begin(), places.end(), [](const QRectF& one, const QRectF& other) {
        return std::pair(one.y(), one.x()) < std::pair(other.y(), other.x());
    });
    return places;
}

/// The card of the role at that position.
QQuickItem* cardIn(QQuickItem* panel, int index)
{
    QQuickItem* card = nullptr;
    auto* const cards = panel->findChild<QObject*>(u"roleCards"_s);
    QMetaObject::invokeMethod(cards, "itemAt", Q_RETURN_ARG(QQuickItem*, card), Q_ARG(int, index));
    return card;
}

/// A bolt in each corner of a plate of that size.
QList<QRectF> cornerBolts(const QSizeF& plate)
{
    constexpr double size = 12.0;
    constexpr double inset = 6.0;
    const double right = plate.width() - inset - size;
    const double bottom = plate.height() - inset - size;
    return {
        {inset, inset, size, size},
        {right, inset, size, size},
        {inset, bottom, size, size},
        {right, bottom, size, size}};
}

} // namespace

class ContentViewTest : public QObject, protected ContentStage
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QQuickWindow::setGraphicsApi(QSGRendererInterface::Software); }
    void init();
    void cleanup() { clear(); }

    void beforeTheFirstShowingThereAreNoPanels();
    void theFirstShowingBringsThePanels();
    void aSecondShowingKeepsThem();
    void theStripIs260HighAtEverySize_data();
    void theStripIs260HighAtEverySize();
    void theHeaderIsAPlateWithATrimUnderIt();
    void thePowerPanelStacksLampSwitchAndShowFile();
    void theConsoleHasItsTitleOverItsGlass();
    void theEditorStacksItsSections();
    void aRoleCardStacksItsRows();
    void aChipIsAsLargeAsItsTextAndItsPadding();
    void aStartStoresAPortThatIsBeingTyped();
    void f1OpensTheGuideOnceForEachPress();

public Q_SLOTS:
    void noteAddress(const QUrl& address) { m_opened.append(address); }

private:
    QList<QUrl> m_opened;
};

void ContentViewTest::init()
{
    prepare();
    load();
}

void ContentViewTest::beforeTheFirstShowingThereAreNoPanels()
{
    QVERIFY(m_models->server() == nullptr);
    QVERIFY(find(u"header"_s) != nullptr);
    QVERIFY(find(u"divider"_s) != nullptr);
    QCOMPARE(find(u"strip"_s)->height(), 260.0);
    QVERIFY(find(u"powerPanel"_s) == nullptr);
    QVERIFY(find(u"consolePanel"_s) == nullptr);
    QVERIFY(find(u"showSetupPanel"_s) == nullptr);
}

void ContentViewTest::theFirstShowingBringsThePanels()
{
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    QVERIFY(m_models->server() != nullptr);
    for (const QString& name : {u"powerPanel"_s, u"consolePanel"_s}) {
        QTRY_VERIFY2(find(name) != nullptr, qPrintable(name));
    }
    QTRY_VERIFY(panelsAreReady());
    QVERIFY2(m_models->server()->logLines().isEmpty(), "nothing is started by itself");
}

void ContentViewTest::aSecondShowingKeepsThem()
{
    show();
    ServerController* const server = m_models->server();
    QQuickItem* const console = find(u"consolePanel"_s);
    m_view->hide();
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    QCOMPARE(m_models->server(), server);
    QCOMPARE(find(u"consolePanel"_s), console);
}

void ContentViewTest::theStripIs260HighAtEverySize_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("smallest") << QSize(780, 680);
    QTest::newRow("default") << QSize(820, 760);
    QTest::newRow("large") << QSize(1600, 1000);
}

void ContentViewTest::theStripIs260HighAtEverySize()
{
    QFETCH(const QSize, size);
    show();
    m_view->resize(size);
    QTRY_COMPARE(m_view->rootObject()->width(), size.width());
    const QQuickItem* const strip = find(u"strip"_s);
    QCOMPARE(strip->height(), 260.0);
    QCOMPARE(strip->y(), find(u"header"_s)->height());

    const QQuickItem* const power = find(u"powerPanel"_s);
    const QQuickItem* const console = find(u"consolePanel"_s);
    QCOMPARE(power->mapToItem(strip, QPointF()), QPointF(14, 14));
    QCOMPARE(power->size(), QSizeF(230, 232));
    QCOMPARE(console->mapToItem(strip, QPointF()), QPointF(14 + 230 + 14, 14));
    QCOMPARE(console->size(), QSizeF(size.width() - 230 - 3 * 14, 232));

    const QQuickItem* const divider = find(u"divider"_s);
    const QQuickItem* const setup = find(u"showSetupPanel"_s);
    QCOMPARE(divider->y(), strip->y() + strip->height());
    QCOMPARE(setup->mapToItem(nullptr, QPointF()), QPointF(0, divider->y() + 1));
    QCOMPARE(setup->width(), size.width());
    QCOMPARE(setup->mapToItem(nullptr, QPointF(0, setup->height())).y(), size.height());
}

void ContentViewTest::theHeaderIsAPlateWithATrimUnderIt()
{
    show();
    QQuickItem* const header = find(u"header"_s);
    const QRectF title = placeIn(header, allIn<LitText>(header).value(0));
    const QRectF subtitle = placeIn(header, textIn(header, u"Set up and run the show relay"_s));
    const QRectF trim = placeIn(header, allIn<SteelTrim>(header).value(0));
    QCOMPARE(title.y(), 14.0);
    QCOMPARE(subtitle.y(), title.bottom() + 2.0);
    QVERIFY(std::abs(title.center().x() - 410.0) <= 0.5);
    QVERIFY(std::abs(subtitle.center().x() - 410.0) <= 0.5);
    QCOMPARE(trim, QRectF(0.0, subtitle.bottom() + 14.0, 820.0, 12.0));
    QCOMPARE(header->height(), trim.bottom());
    const QList<QRectF> bolts = {{10.0, 10.0, 14.0, 14.0}, {796.0, 10.0, 14.0, 14.0}};
    QCOMPARE(boltsOn(header), bolts);
}

void ContentViewTest::thePowerPanelStacksLampSwitchAndShowFile()
{
    show();
    QQuickItem* const panel = find(u"powerPanel"_s);
    const QRectF light = placeIn(panel, allIn<LampLight>(panel).value(0));
    const QRectF caption = placeIn(panel, textIn(panel, u"STOPPED"_s));
    const QRectF rocker = placeIn(panel, find(u"rocker"_s));
    const QRectF title = placeIn(panel, textIn(panel, u"SHOW FILE"_s));
    const QRectF path = placeIn(panel, find(u"path"_s));
    const QRectF link = placeIn(panel, textIn(panel, u"Reveal in Finder"_s));
    QCOMPARE(light.size(), QSizeF(34.0, 34.0));
    QCOMPARE(light.center().x(), 115.0);
    QCOMPARE(caption.y(), light.bottom() + 8.0);
    QCOMPARE(rocker.size(), QSizeF(150.0, 58.0));
    QCOMPARE(rocker.x(), 40.0);
    QCOMPARE(rocker.y(), caption.bottom() + 18.0);
    QCOMPARE(title.topLeft(), QPointF(16.0, rocker.bottom() + 18.0));
    QCOMPARE(path.topLeft(), QPointF(16.0, title.bottom() + 4.0));
    QCOMPARE(path.width(), 198.0);
    QCOMPARE(link.topLeft(), QPointF(16.0, path.bottom() + 4.0 + 2.0));
    QCOMPARE(boltsOn(panel), cornerBolts(QSizeF(230.0, 232.0)));
}

void ContentViewTest::theConsoleHasItsTitleOverItsGlass()
{
    show();
    QQuickItem* const panel = find(u"consolePanel"_s);
    QQuickItem* const titleText = textIn(panel, u"CONSOLE"_s);
    const QRectF title = placeIn(panel, titleText);
    const QRectF glass = placeIn(panel, find(u"logArea"_s));
    const QRectF dot = placeIn(panel, titleText->parentItem()->childItems().constFirst());
    QCOMPARE(dot.x(), 14.0);
    QCOMPARE(dot.size(), QSizeF(6.0, 6.0));
    QCOMPARE(title.topLeft(), QPointF(14.0 + 6.0 + 6.0, 14.0));
    QVERIFY(std::abs(dot.center().y() - title.center().y()) <= 0.5);
    QCOMPARE(
        glass, QRectF(
                   QPointF(14.0, title.bottom() + 6.0),
                   QPointF(panel->width() - 14.0, panel->height() - 14.0)));
    QCOMPARE(find(u"log"_s)->property("spacing").toReal(), 2.0);
    QCOMPARE(boltsOn(panel), cornerBolts(panel->size()));
}

void ContentViewTest::theEditorStacksItsSections()
{
    m_models->config()->setRoles(m_models->config()->roles().mid(0, 2));
    show();
    QQuickItem* const panel = find(u"showSetupPanel"_s);
    const auto place = [panel](const QString& text) {
        return placeIn(panel, textIn(panel, text));
    };
    const QRectF name = placeIn(panel, find(u"showName"_s));
    QCOMPARE(place(u"SHOW NAME"_s).topLeft(), QPointF(20.0, 20.0));
    QCOMPARE(name.topLeft(), QPointF(20.0, place(u"SHOW NAME"_s).bottom() + 8.0));
    QCOMPARE(name.width(), 780.0);
    QCOMPARE(place(u"OSC (QLab)"_s).topLeft(), QPointF(20.0, name.bottom() + 20.0));

    const QRectF label = place(u"Port"_s);
    const QRectF port = placeIn(panel, find(u"port"_s));
    QCOMPARE(label.x(), 20.0);
    QCOMPARE(port.topLeft(), QPointF(label.right() + 10.0, place(u"OSC (QLab)"_s).bottom() + 8.0));
    QCOMPARE(port.width(), 100.0);
    QVERIFY(std::abs(label.center().y() - port.center().y()) <= 0.5);

    const QRectF channels = place(u"CHANNELS"_s);
    const QRectF editor = placeIn(panel, find(u"channelsEditor"_s));
    const QRectF chip = place(u"Main"_s);
    const QRectF field = place(u"New channel name"_s);
    QCOMPARE(editor.topLeft(), QPointF(20.0, channels.bottom() + 8.0));
    QCOMPARE(chip.topLeft(), editor.topLeft());
    QCOMPARE(field.topLeft(), QPointF(20.0, chip.bottom() + 10.0));
    QCOMPARE(field.width(), 220.0);

    const QRectF roles = place(u"ROLES"_s);
    QQuickItem* const first = cardIn(panel, 0);
    QQuickItem* const second = cardIn(panel, 1);
    QCOMPARE(roles.topLeft(), QPointF(20.0, editor.bottom() + 20.0));
    QCOMPARE(placeIn(panel, first).topLeft(), QPointF(20.0, roles.bottom() + 8.0));
    QCOMPARE(first->width(), 780.0);
    QCOMPARE(placeIn(panel, second).y(), placeIn(panel, first).bottom() + 12.0);

    QRectF add; // as it is drawn: more of it can be hit
    for (QQuickItem* const part : find(u"addRole"_s)->childItems()) {
        add |= part->isVisible() ? placeIn(panel, part) : QRectF();
    }
    const QRectF save = placeIn(panel, find(u"save"_s));
    const QRectF reload = placeIn(panel, find(u"reload"_s));
    QCOMPARE(add.y(), placeIn(panel, second).bottom() + 12.0 + 4.0);
    QVERIFY(std::abs(add.center().x() - 410.0) <= 0.5);
    QCOMPARE(save.topLeft(), QPointF(20.0, add.bottom() + 20.0));
    QVERIFY(save.width() >= 120.0);
    QCOMPARE(reload.y(), save.y());
    const QQuickItem* const view = find(u"setupView"_s);
    QCOMPARE(view->property("contentHeight").toReal(), save.bottom() + 20.0);
}

void ContentViewTest::aRoleCardStacksItsRows()
{
    show();
    QQuickItem* const card = cardIn(find(u"showSetupPanel"_s), 0);
    const QRectF name = placeIn(card, textIn(card, u"Role name"_s));
    QQuickItem* const talksTitle = textIn(card, u"TALKS ON"_s);
    QQuickItem* const listensTitle = textIn(card, u"LISTENS ON"_s);
    const QRectF talks = placeIn(card, talksTitle->parentItem());
    const QRectF listens = placeIn(card, listensTitle->parentItem());
    const QRectF talkChip =
        placeIn(card, textIn(talksTitle->parentItem()->parentItem(), u"Main"_s));
    const QRectF listenChip =
        placeIn(card, textIn(listensTitle->parentItem()->parentItem(), u"Main"_s));
    QCOMPARE(name.x(), 14.0);
    QVERIFY(name.y() >= 14.0);
    QCOMPARE(talks.x(), 14.0);
    QVERIFY(talks.y() >= name.bottom() + 10.0);
    QCOMPARE(talkChip.topLeft(), QPointF(14.0, talks.bottom() + 4.0));
    QCOMPARE(listens.topLeft(), QPointF(14.0, talkChip.bottom() + 10.0));
    QCOMPARE(listenChip.topLeft(), QPointF(14.0, listens.bottom() + 4.0));
    QCOMPARE(card->height(), listenChip.bottom() + 14.0);
    const double middle = (card->height() - 10.0) / 2.0;
    const QList<QRectF> bolts = boltsOn(card);
    QCOMPARE(bolts.size(), 2);
    QCOMPARE(bolts.at(0).size(), QSizeF(10.0, 10.0));
    QCOMPARE(bolts.at(0).x(), 6.0);
    QCOMPARE(bolts.at(1).right(), card->width() - 6.0);
    QVERIFY(std::abs(bolts.at(0).y() - middle) <= 0.5);
    QCOMPARE(bolts.at(1).y(), bolts.at(0).y());
}

void ContentViewTest::aChipIsAsLargeAsItsTextAndItsPadding()
{
    show();
    QQuickItem* const editor = find(u"channelsEditor"_s);
    QQuickItem* const chip = textIn(editor, u"Main"_s);
    QQuickItem* const next = textIn(editor, u"Tech"_s);
    QQuickItem* const label = textIn(chip, u"Main"_s);
    QVERIFY(label != nullptr);
    QCOMPARE(chip->size(), QSizeF(label->implicitWidth() + 20.0, label->implicitHeight() + 10.0));
    QCOMPARE(placeIn(editor, next).x(), placeIn(editor, chip).right() + 8.0);
}

void ContentViewTest::aStartStoresAPortThatIsBeingTyped()
{
    show();
    auto* const port = find(u"port"_s);
    port->forceActiveFocus();
    QTest::keyClick(m_view.get(), Qt::Key_A, Qt::ControlModifier);
    for (const char key : {'8', '0', '0', '0'}) {
        QTest::keyClick(m_view.get(), key);
    }
    QCOMPARE(m_models->config()->oscPort(), 47000);
    QVERIFY(QMetaObject::invokeMethod(find(u"powerPanel"_s), "aboutToStart"));
    QCOMPARE(m_models->config()->oscPort(), 8000);
    QVERIFY(m_models->config()->hasUnsavedChanges());
}

void ContentViewTest::f1OpensTheGuideOnceForEachPress()
{
    show();
    QDesktopServices::setUrlHandler(u"file"_s, this, "noteAddress");
    QTest::keyPress(m_view.get(), Qt::Key_F1);
    for (int repeated = 0; repeated < 3; ++repeated) {
        QTest::simulateEvent(m_view.get(), true, Qt::Key_F1, Qt::NoModifier, {}, true);
    }
    QTest::keyRelease(m_view.get(), Qt::Key_F1);
    QDesktopServices::unsetUrlHandler(u"file"_s);
    QCOMPARE(m_opened.size(), 1);
    QVERIFY2(
        QFile::exists(m_opened.front().toLocalFile()), qPrintable(m_opened.front().toString()));
}

WINGBELL_GUI_TEST(ContentViewTest)
#include "ContentViewTest.moc"
