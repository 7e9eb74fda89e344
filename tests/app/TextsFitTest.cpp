#include "app/WingbellControlApp.h"
#include "look/LitText.h"
#include "look/RockerPlate.h"
#include "tests/TestProgram.h"
#include "tests/app/ContentStage.h"

#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTranslator>
#include <QtTest>

#include <memory>

Q_IMPORT_QML_PLUGIN(Wingbell_LookPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_PanelsPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_AppPlugin)

using namespace Qt::StringLiterals;
using namespace wingbell;

namespace {

/// A language made of the English one by rule.
class MadeUpLanguage : public QTranslator
{
public:
    MadeUpLanguage() { QCoreApplication::installTranslator(this); }
    [[nodiscard]] bool isEmpty() const override { return false; }
};

/// Says everything twice: twice as long is what a short text comes to in some languages.
class TwiceAsLong final : public MadeUpLanguage
{
public:
    QString translate(const char* /*context*/, const char* text, const char*, int) const override
    {
        const QString once = QString::fromUtf8(text);
        return once % u' ' % once;
    }
};

/// Has Hebrew letters for Latin ones, which run from right to left.
class FromRightToLeft final : public MadeUpLanguage
{
public:
    QString translate(const char* /*context*/, const char* text, const char*, int) const override
    {
        constexpr char16_t firstLetter = u'\u05d0';
        QString said = QString::fromUtf8(text);
        for (QChar& sign : said) {
            if (sign.isLetter()) {
                sign = QChar(firstLetter + sign.unicode() % 22);
            }
        }
        return said;
    }
};

using Language = std::shared_ptr<void>;

Language spoken(const QByteArray& name)
{
    if (name == "twice as long") {
        return std::make_shared<TwiceAsLong>();
    }
    if (name == "from right to left") {
        return std::make_shared<FromRightToLeft>();
    }
    return std::make_shared<WindowLanguage>(QStringList{QString::fromLatin1(name)});
}

void addLanguages()
{
    QTest::addColumn<QByteArray>("name");
    for (const char* const name : {"en", "twice as long", "from right to left"}) {
        QTest::newRow(name) << QByteArray(name);
    }
    // Each that there is, so that one more is tried as it comes.
    for (QString name : QDir(u":/translations"_s).entryList()) {
        name = name.remove(u"wingbell_"_s).remove(u".qm"_s).replace(u'_', u'-');
        QTest::newRow(qPrintable(name)) << name.toLatin1();
    }
}

bool isText(const QQuickItem& item)
{
    return item.inherits("QQuickText") || qobject_cast<const LitText*>(&item) != nullptr;
}

/// Every text that is shown under `root`.
QList<QQuickItem*> textsIn(QQuickItem* root)
{
    QList<QQuickItem*> found;
    for (QQuickItem* const child : root->childItems()) {
        if (!child->isVisible()) {
            continue;
        }
        if (isText(*child) && !child->property("text").toString().isEmpty()) {
            found.append(child);
        }
        found.append(textsIn(child));
    }
    return found;
}

QRectF placeIn(const QQuickItem& root, const QQuickItem& item)
{
    return item.mapRectToItem(&root, QRectF(QPointF(), item.size()));
}

/// The place of what is painted of a text, which is more than its own where it does not fit in.
QRectF inkIn(const QQuickItem& root, const QQuickItem& text)
{
    QSizeF size = text.size();
    if (text.inherits("QQuickText")) {
        size = size.expandedTo(
            {text.property("contentWidth").toReal(), text.property("contentHeight").toReal()});
    }
    return text.mapRectToItem(&root, QRectF(QPointF(), size));
}

/// The button around a text; none around most.
const QQuickItem* buttonAround(const QQuickItem& text)
{
    for (const QQuickItem* item = text.parentItem(); item != nullptr; item = item->parentItem()) {
        if (item->inherits("wingbell::PressArea")) {
            return item;
        }
    }
    return nullptr;
}

QString told(const QQuickItem& text, const QRectF& place)
{
    QString words;
    QDebug(&words) << text.property("text").toString() << place;
    return words;
}

/// What of the texts under `root` is cut off, lies over another one or sticks out of its place.
QString whatDoesNotFit(QQuickItem& root)
{
    QStringList misfits;
    const QList<QQuickItem*> texts = textsIn(&root);
    for (qsizetype index = 0; index < texts.size(); ++index) {
        const QQuickItem& text = *texts[index];
        const QRectF ink = inkIn(root, text);
        if (text.property("truncated").toBool()) {
            misfits.append(u"cut off: "_s % told(text, ink));
        }
        if (ink.left() < 0.0 || ink.right() > root.width()) {
            misfits.append(u"beyond the edge: "_s % told(text, ink));
        }
        const QQuickItem* const button = buttonAround(text);
        if (button != nullptr && !placeIn(root, *button).adjusted(-1, -1, 1, 1).contains(ink)) {
            misfits.append(u"out of its button: "_s % told(text, ink));
        }
        for (const QQuickItem* const other : texts.mid(index + 1)) {
            if (ink.adjusted(0, 1, 0, -1).intersects(inkIn(root, *other))) {
                misfits.append(u"over another: "_s % told(text, ink) % told(*other, {}));
            }
        }
    }
    return misfits.join(u'\n');
}

} // namespace

class TextsFitTest : public QObject, protected ContentStage
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QQuickWindow::setGraphicsApi(QSGRendererInterface::Software); }
    void init() { prepare(); }
    void cleanup() { clear(); }

    void aTextThatDoesNotFitIsFound();
    void everyTextHasItsPlaceAtEverySize_data() { addLanguages(); }
    void everyTextHasItsPlaceAtEverySize();
    void theLampsCaptionsFitTheirColumn_data() { addLanguages(); }
    void theLampsCaptionsFitTheirColumn();
    void theSwitchKeepsEachLabelInItsHalf_data() { addLanguages(); }
    void theSwitchKeepsEachLabelInItsHalf();
    void theMenuIsAsWideAsItsWidestEntry_data() { addLanguages(); }
    void theMenuIsAsWideAsItsWidestEntry();

private:
    void showView();
};

void TextsFitTest::showView()
{
    load();
    show();
}

void TextsFitTest::aTextThatDoesNotFitIsFound()
{
    showView();
    QQuickItem& root = *m_view->rootObject();
    QCOMPARE(whatDoesNotFit(root), QString());
    const auto addRole = textsIn(find(u"addRole"_s));
    QCOMPARE(addRole.size(), 1);
    addRole.first()->setProperty("text", u"Far too long "_s.repeated(30));
    QVERIFY(!whatDoesNotFit(root).isEmpty());
}

void TextsFitTest::everyTextHasItsPlaceAtEverySize()
{
    QFETCH(const QByteArray, name);
    const Language language = spoken(name);
    // A name that is empty shows what stands in its field then.
    m_models->config()->setShow(QString());
    m_models->config()->renameRole(m_models->config()->roles().value(0), QString());
    showView();
    find(u"showSetupPanel"_s)->setProperty("serverIsRunning", true); // for its warning
    m_models->config()->addRole();
    QTRY_VERIFY(find(u"restartWarning"_s)->isVisible());
    for (const QSize size : {QSize(780, 680), QSize(820, 760), QSize(1920, 1080)}) {
        m_view->resize(size);
        QTRY_COMPARE(m_view->rootObject()->width(), size.width());
        draw();
        QQuickItem& root = *m_view->rootObject();
        QVERIFY(textsIn(&root).size() > 40);
        // The cards beside the view are built little by little.
        QTRY_COMPARE(whatDoesNotFit(root), QString());

        // Beside the window's buttons, which lie over the header.
        constexpr double buttons = 100.0;
        QQuickItem* const header = find(u"header"_s);
        for (const QQuickItem* const text : textsIn(header)) {
            QVERIFY(inkIn(*header, *text).right() < header->width() - buttons);
        }
        // The column of the power panel and its padding.
        QQuickItem* const power = find(u"powerPanel"_s);
        for (const QQuickItem* const text : textsIn(power)) {
            const QRectF ink = inkIn(*power, *text);
            QVERIFY2(ink.left() >= 16.0 && ink.right() <= 214.5, qPrintable(told(*text, ink)));
            QVERIFY2(ink.bottom() <= 232.0, qPrintable(told(*text, ink)));
        }
        // The layout runs from left to right in every language, as a desk's does.
        QVERIFY(find(u"powerPanel"_s)->x() < find(u"consolePanel"_s)->x());
        QVERIFY(find(u"save"_s)->x() < find(u"reload"_s)->x());
    }
}

void TextsFitTest::theLampsCaptionsFitTheirColumn()
{
    QFETCH(const QByteArray, name);
    const Language language = spoken(name);
    QQmlComponent source(m_view->engine(), QUrl(u"qrc:/qt/qml/Wingbell/Panels/StatusLamp.qml"_s));
    QStringList captions;
    for (const auto& [isRunning, isStarting] :
         {std::pair(false, false), std::pair(false, true), std::pair(true, false)}) {
        const std::unique_ptr<QObject> lamp(source.createWithInitialProperties(
            {{u"isRunning"_s, isRunning}, {u"isStarting"_s, isStarting}}));
        QVERIFY2(lamp, qPrintable(source.errorString()));
        captions.append(lamp->property("caption").toString());
        constexpr double column = 230.0 - 2.0 * 16.0;
        QVERIFY(qobject_cast<QQuickItem*>(lamp.get())->implicitWidth() <= column);
    }
    QCOMPARE(captions.removeDuplicates(), 0);
}

void TextsFitTest::theSwitchKeepsEachLabelInItsHalf()
{
    QFETCH(const QByteArray, name);
    const Language language = spoken(name);
    showView();
    const auto* const plate = find(u"rocker"_s)->findChild<RockerPlate*>();
    QVERIFY(plate != nullptr);
    const QRectF stop = plate->labelPlace(false);
    const QRectF start = plate->labelPlace(true);
    // The face is 142 wide and in the middle of 150; some room stays beside each label.
    QVERIFY2(
        stop.left() >= 4.0 + 2.0 && stop.right() <= 75.0 - 2.0, qPrintable(QDebug::toString(stop)));
    QVERIFY2(
        start.left() >= 75.0 + 2.0 && start.right() <= 146.0 - 2.0,
        qPrintable(QDebug::toString(start)));
}

void TextsFitTest::theMenuIsAsWideAsItsWidestEntry()
{
    QFETCH(const QByteArray, name);
    const Language language = spoken(name);
    showView();
    const QQuickItem* const field = find(u"showName"_s);
    const QPointF place = field->mapToScene(QPointF(20.0, 10.0));
    QTest::mouseClick(m_view.get(), Qt::RightButton, {}, place.toPoint());
    const auto entries = [this] {
        QList<QQuickItem*> texts = textsIn(m_view->contentItem());
        texts.removeIf(
            [this](const QQuickItem* text) { return m_view->rootObject()->isAncestorOf(text); });
        return texts;
    };
    QTRY_COMPARE(entries().size(), 4);
    draw();
    for (const QQuickItem* const entry : entries()) {
        // With its padding on the left, and as much on the right.
        constexpr double padding = 8.0;
        const double width = entry->parentItem()->width();
        QVERIFY2(entry->implicitWidth() + padding <= width, qPrintable(told(*entry, {})));
        QVERIFY(width >= 152.0);
    }
}

WINGBELL_GUI_TEST(TextsFitTest)
#include "TextsFitTest.moc"
