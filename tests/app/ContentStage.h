#pragma once

#include "app/ContentModels.h"

#include <QDir>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace wingbell {

/// The window's content on a screen of its own, over a show in a folder of its own. For tests to
/// stand on: made by prepare(), gone after clear().
class ContentStage
{
protected:
    /// Makes models and an empty view of the window's usual size.
    void prepare()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_models = std::make_unique<ContentModels>(QDir(m_folder->path()));
        m_view = std::make_unique<QQuickView>();
        m_view->engine()->addImportPath(QStringLiteral("qrc:/qt/qml"));
        m_view->setResizeMode(QQuickView::SizeRootObjectToView);
        m_view->setInitialProperties(
            {{QStringLiteral("models"), QVariant::fromValue(m_models.get())}});
        m_view->resize(820, 760);
    }

    /// Loads the content; nothing is shown yet.
    void load()
    {
        m_view->setSource(QUrl(QStringLiteral("qrc:/qt/qml/Wingbell/App/ContentView.qml")));
        QVERIFY2(m_view->errors().isEmpty(), "the view loads");
    }

    /// Shows what was loaded and waits until all panels are drawn.
    void show()
    {
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
        QTRY_VERIFY(panelsAreReady());
        draw();
    }

    void clear()
    {
        m_view.reset();
        m_models.reset();
        m_folder.reset();
    }

    /// Has the frame drawn that stands in the view now: rows of chips are laid out with the one
    /// that shows them first.
    void draw()
    {
        QSignalSpy frames(m_view.get(), &QQuickWindow::afterRendering);
        m_view->update();
        QTRY_VERIFY(!frames.isEmpty());
    }

    [[nodiscard]] bool panelsAreReady() const
    {
        constexpr int ready = 1;
        return find(QStringLiteral("strip"))->property("status").toInt() == ready &&
               find(QStringLiteral("setup"))->property("status").toInt() == ready;
    }

    [[nodiscard]] QQuickItem* find(const QString& name) const
    {
        return m_view->rootObject()->findChild<QQuickItem*>(name);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ContentModels> m_models;
    std::unique_ptr<QQuickView> m_view;
};

} // namespace wingbell
