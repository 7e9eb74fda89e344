#include "app/ContentModels.h"

#include <QQmlEngine>
#include <QQmlExtensionPlugin>
#include <QQuickItem>
#include <QQuickView>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QtTest>

Q_IMPORT_QML_PLUGIN(Wingbell_LookPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_PanelsPlugin)
Q_IMPORT_QML_PLUGIN(Wingbell_AppPlugin)

using namespace wingbell;

class ContentViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QQuickWindow::setGraphicsApi(QSGRendererInterface::Software); }
    void init();
    void cleanup();

    void beforeTheFirstShowingThereAreNoPanels();
    void theFirstShowingBringsThePanels();
    void aSecondShowingKeepsThem();
    void theStripIs260HighAtEverySize_data();
    void theStripIs260HighAtEverySize();

private:
    QQuickItem* find(const QString& name) const
    {
        return m_view->rootObject()->findChild<QQuickItem*>(name);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ContentModels> m_models;
    std::unique_ptr<QQuickView> m_view;
};

void ContentViewTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_models = std::make_unique<ContentModels>(QDir(m_folder->path()));
    m_view = std::make_unique<QQuickView>();
    m_view->engine()->addImportPath(u"qrc:/qt/qml"_qs);
    m_view->setResizeMode(QQuickView::SizeRootObjectToView);
    m_view->setInitialProperties({{u"models"_qs, QVariant::fromValue(m_models.get())}});
    m_view->resize(820, 760);
    m_view->setSource(QUrl(u"qrc:/qt/qml/Wingbell/App/ContentView.qml"_qs));
    QVERIFY2(m_view->errors().isEmpty(), "the view loads");
}

void ContentViewTest::cleanup()
{
    m_view.reset();
    m_models.reset();
    m_folder.reset();
}

void ContentViewTest::beforeTheFirstShowingThereAreNoPanels()
{
    QVERIFY(m_models->server() == nullptr);
    QVERIFY(find(u"header"_qs) != nullptr);
    QVERIFY(find(u"divider"_qs) != nullptr);
    QCOMPARE(find(u"strip"_qs)->height(), 260.0);
    QVERIFY(find(u"powerPanel"_qs) == nullptr);
    QVERIFY(find(u"consolePanel"_qs) == nullptr);
    QVERIFY(find(u"showSetupPanel"_qs) == nullptr);
}

void ContentViewTest::theFirstShowingBringsThePanels()
{
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    QVERIFY(m_models->server() != nullptr);
    for (const QString& name : {u"powerPanel"_qs, u"consolePanel"_qs}) {
        QVERIFY2(find(name) != nullptr, qPrintable(name));
    }
    QTRY_VERIFY(find(u"showSetupPanel"_qs) != nullptr);
    QVERIFY2(m_models->server()->logLines().isEmpty(), "nothing is started by itself");
}

void ContentViewTest::aSecondShowingKeepsThem()
{
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    ServerController* const server = m_models->server();
    QQuickItem* const console = find(u"consolePanel"_qs);
    m_view->hide();
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    QCOMPARE(m_models->server(), server);
    QCOMPARE(find(u"consolePanel"_qs), console);
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
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    m_view->resize(size);
    QTRY_COMPARE(m_view->rootObject()->width(), size.width());
    const QQuickItem* const strip = find(u"strip"_qs);
    QCOMPARE(strip->height(), 260.0);
    QCOMPARE(strip->y(), find(u"header"_qs)->height());

    const QQuickItem* const power = find(u"powerPanel"_qs);
    const QQuickItem* const console = find(u"consolePanel"_qs);
    QCOMPARE(power->mapToItem(strip, QPointF()), QPointF(14, 14));
    QCOMPARE(power->size(), QSizeF(230, 232));
    QCOMPARE(console->mapToItem(strip, QPointF()), QPointF(14 + 230 + 14, 14));
    QCOMPARE(console->size(), QSizeF(size.width() - 230 - 3 * 14, 232));

    const QQuickItem* const divider = find(u"divider"_qs);
    QTRY_VERIFY(find(u"showSetupPanel"_qs) != nullptr);
    const QQuickItem* const setup = find(u"showSetupPanel"_qs);
    QCOMPARE(divider->y(), strip->y() + strip->height());
    QCOMPARE(setup->mapToItem(nullptr, QPointF()), QPointF(0, divider->y() + 1));
    QCOMPARE(setup->width(), size.width());
    QCOMPARE(setup->mapToItem(nullptr, QPointF(0, setup->height())).y(), size.height());
}

QTEST_MAIN(ContentViewTest)
#include "ContentViewTest.moc"
