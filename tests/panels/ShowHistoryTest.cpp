#include "panels/setup/ShowHistory.h"
#include "tests/TestProgram.h"

#include "model/ShowFile.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
using namespace wingbell;

class ShowHistoryTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_config = std::make_unique<ShowConfig>(QDir(m_folder->path()));
        m_history = std::make_unique<ShowHistory>();
        m_history->setConfig(m_config.get());
    }
    void cleanup()
    {
        m_history.reset();
        m_config.reset();
        m_folder.reset();
    }

    void theStepsOfAShowGoBackInTheirOrderAndForthAgain();
    void everyStepMarksAnEdit();
    void aStepTellsOfEachPropertyOnce();
    void aReloadIsTakenBackWithTheRolesIds();
    void aReloadThatBringsTheSameShowIsNoStep();
    void whatIsTypedIntoOneNameIsOneStep();
    void aNameTypedBackIsAStepTakenBack();
    void aStepTellsWhereItChangedTheShow();
    void typingAfterAStepIsAnotherStep();
    void anEditAfterAnUndoEndsTheRedo();
    void anEditThatChangesNothingIsNoStep();
    void theOldestStepsAreForgotten();
    void aStoreThatHasGoneIsLeftAlone();

private:
    void rename(int position, const QString& name)
    {
        m_config->renameRole(m_config->roles().at(position), name);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ShowConfig> m_config;
    std::unique_ptr<ShowHistory> m_history;
};

void ShowHistoryTest::theStepsOfAShowGoBackInTheirOrderAndForthAgain()
{
    const Role first = m_config->roles().at(0);
    const QList<std::function<void()>> edits = {
        [&] { m_config->addChannel(u"Pit"_s); },
        [&] { m_config->removeChannel(u"Main"_s); },
        [&] { m_config->addRole(); },
        [&] { m_config->toggleTalk(first, u"Pit"_s); },
        [&] { m_config->toggleTalk(first, u"Pit"_s); },
        [&] { m_config->toggleListen(first, u"Pit"_s); },
        [&] { m_config->renameRole(first, u"Caller"_s); },
        [&] { m_config->setShow(u"Gala"_s); },
        [&] { m_config->setOscPort(8000); },
        [&] { m_config->setOscPort(9000); },
        [&] { m_config->removeRole(first); },
        [&] { m_config->load(); },
        [&] { m_config->setRoles({}); },
        [&] { m_config->setChannels({}); },
    };
    QList<ShowFile> shows = {m_config->showFile()};
    for (const auto& edit : edits) {
        edit();
        shows.append(m_config->showFile());
    }
    for (auto show = shows.crbegin() + 1; show != shows.crend(); ++show) {
        m_history->undo();
        QCOMPARE(m_config->showFile(), *show);
    }
    m_history->undo();
    QCOMPARE(m_config->showFile(), shows.constFirst());
    for (auto show = shows.cbegin() + 1; show != shows.cend(); ++show) {
        m_history->redo();
        QCOMPARE(m_config->showFile(), *show);
    }
    m_history->redo();
    QCOMPARE(m_config->showFile(), shows.constLast());
}

void ShowHistoryTest::everyStepMarksAnEdit()
{
    m_history->undo();
    QVERIFY2(!m_config->hasUnsavedChanges(), "there is nothing to undo");
    m_config->addRole();
    QVERIFY(m_config->save());
    m_history->undo();
    QVERIFY(m_config->hasUnsavedChanges());
    // Back at what was saved, and still an edit.
    m_history->redo();
    QVERIFY(m_config->hasUnsavedChanges());
}

void ShowHistoryTest::aStepTellsOfEachPropertyOnce()
{
    m_config->removeChannel(u"Main"_s);
    QSignalSpy show(m_config.get(), &ShowConfig::showChanged);
    QSignalSpy channels(m_config.get(), &ShowConfig::channelsChanged);
    QSignalSpy roles(m_config.get(), &ShowConfig::rolesChanged);
    QSignalSpy port(m_config.get(), &ShowConfig::oscPortChanged);
    m_history->undo();
    QCOMPARE(show.size(), 0);
    QCOMPARE(channels.size(), 1);
    QCOMPARE(roles.size(), 1);
    QCOMPARE(port.size(), 0);
}

void ShowHistoryTest::aReloadIsTakenBackWithTheRolesIds()
{
    m_config->addRole();
    QVERIFY(m_config->save());
    m_config->load(); // roles of other ids
    m_config->setShow(u"Gala"_s);
    const ShowFile before = m_config->showFile();
    m_config->load();
    QVERIFY(!m_config->hasUnsavedChanges());
    m_history->undo();
    QCOMPARE(m_config->showFile(), before);
    QVERIFY(m_config->hasUnsavedChanges());
}

void ShowHistoryTest::aReloadThatBringsTheSameShowIsNoStep()
{
    const ShowFile before = m_config->showFile();
    m_config->addRole();
    QVERIFY(m_config->save());
    m_config->load();
    m_history->undo();
    QCOMPARE(m_config->showFile(), before);
}

void ShowHistoryTest::whatIsTypedIntoOneNameIsOneStep()
{
    const ShowFile before = m_config->showFile();
    rename(0, u"C"_s);
    rename(0, u"Ca"_s);
    rename(1, u"L"_s);
    m_config->setShow(u"G"_s);
    m_config->setShow(u"Ga"_s);
    m_history->undo();
    QCOMPARE(m_config->show(), before.show);
    m_history->undo();
    QCOMPARE(m_config->roles().at(1), before.roles.at(1));
    QCOMPARE(m_config->roles().at(0).name, u"Ca"_s);
    m_history->undo();
    QCOMPARE(m_config->showFile(), before);
}

void ShowHistoryTest::aNameTypedBackIsAStepTakenBack()
{
    const QString name = m_config->show();
    m_config->addRole();
    m_config->setShow(u"Gala"_s);
    m_config->setShow(name);
    m_history->undo();
    QCOMPARE(m_config->showFile(), defaultShow());
    m_history->redo();
    QCOMPARE(m_config->show(), name);
    m_history->redo();
    QCOMPARE(m_config->show(), u"Gala"_s);
}

void ShowHistoryTest::aStepTellsWhereItChangedTheShow()
{
    using Place = ShowHistory::Place;
    QSignalSpy changed(m_history.get(), &ShowHistory::changedAt);
    m_config->setShow(u"Gala"_s);
    m_config->setOscPort(8000);
    rename(2, u"Caller"_s);
    m_config->removeRole(m_config->roles().at(4));
    m_config->removeChannel(u"Main"_s);
    for (int step = 0; step < 5; ++step) {
        m_history->undo();
    }
    const QList<std::pair<Place, int>> wanted = {
        {Place::Channels, 0},
        {Place::Roles, 4},
        {Place::Roles, 2},
        {Place::Port, 6},
        {Place::ShowName, 6}};
    QList<std::pair<Place, int>> told;
    for (const QVariantList& arguments : changed) {
        told.append({arguments.at(0).value<Place>(), arguments.at(1).toInt()});
    }
    QCOMPARE(told, wanted);
}

void ShowHistoryTest::typingAfterAStepIsAnotherStep()
{
    QSignalSpy stepped(m_history.get(), &ShowHistory::stepped);
    m_config->setShow(u"A"_s);
    QCOMPARE(stepped.size(), 0);
    m_config->addRole();
    QCOMPARE(stepped.size(), 1);
    m_history->undo();
    QCOMPARE(stepped.size(), 2);
    m_config->setShow(u"AB"_s);
    m_history->endTyping();
    m_config->setShow(u"ABC"_s);
    for (const QString& show : {u"AB"_s, u"A"_s, defaultShow().show}) {
        m_history->undo();
        QCOMPARE(m_config->show(), show);
    }
}

void ShowHistoryTest::anEditAfterAnUndoEndsTheRedo()
{
    m_config->addRole();
    m_history->undo();
    m_config->addChannel(u"Pit"_s);
    const ShowFile show = m_config->showFile();
    m_history->redo();
    QCOMPARE(m_config->showFile(), show);
}

void ShowHistoryTest::anEditThatChangesNothingIsNoStep()
{
    m_config->addRole();
    m_config->removeChannel(u"Nowhere"_s);
    m_config->removeRole(Role());
    m_history->undo();
    QCOMPARE(m_config->showFile(), defaultShow());
}

void ShowHistoryTest::theOldestStepsAreForgotten()
{
    for (int edit = 0; edit <= ShowHistory::maxSteps; ++edit) {
        m_config->addRole();
    }
    for (int edit = 0; edit <= ShowHistory::maxSteps; ++edit) {
        m_history->undo();
    }
    QCOMPARE(m_config->roles().size(), defaultShow().roles.size() + 1);
}

void ShowHistoryTest::aStoreThatHasGoneIsLeftAlone()
{
    m_config->addRole();
    m_config.reset();
    m_history->undo();
    m_history->redo();
}

WINGBELL_GUILESS_TEST(ShowHistoryTest)
#include "ShowHistoryTest.moc"
