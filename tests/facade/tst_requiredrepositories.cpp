#include "packagehandler.h"
#include "scriptedmanager.h"
#include "text.h"

#include <QProcess>
#include <QSettings>
#include <QTest>

#include <iostream>

namespace {

constexpr char askVariable[] = "KIOSK_TEST_ASK_HANDLER";

/** Prints the isolations around one request of each kind, and what is warned of. */
int askHandler()
{
    QStringList journal;
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
        if (type == QtWarningMsg)
            std::cout << qPrintable(message) << '\n';
    });
    auto *manager = new ScriptedManager(&journal); // the handler's
    const MadeTransactions made = manager->made;
    {
        PackageHandler handler(manager, nullptr);
        handler.install(text("foo"));
        handler.getOsUpdateSize(text("2.0"));
        handler.downloadOsUpdate(text("2.0"));
        handler.installOsUpdate(QString());
    }
    for (const QString &entry : journal.filter(text("isolate ")))
        std::cout << qPrintable(entry) << '\n';
    return deleteStarted(made).size();
}

} // namespace

/** The lists are read as a process starts, so each row has a process of its own. */
class TstRequiredRepositories : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void dependOnTheMode_data();
    void dependOnTheMode();
};

void TstRequiredRepositories::dependOnTheMode_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("output");

    const QString isolated = text(
        "No OS update version supplied. Check your rdm release after installing the OS update.\n"
        "isolate install foo version= restore=yes zulu,alpha,store\n"
        "isolate size version=2.0 restore=yes zulu,alpha\n"
        "isolate download version=2.0 restore=yes zulu,alpha\n"
        "isolate upgrade version= restore=no zulu,alpha\n");
    QTest::newRow("0") << 0 << isolated;
    QTest::newRow("another bit") << 5 << isolated;
    QTest::newRow("the bit that turns isolation off") << 2 << QString();
    QTest::newRow("among others") << 7 << QString();
}

void TstRequiredRepositories::dependOnTheMode()
{
    QFETCH(const int, mode);
    QFETCH(const QString, output);

    {
        QSettings release(text("/etc/rdm/rdm.ini"), QSettings::IniFormat);
        release.setValue(text("release/mode"), mode);
        release.setValue(text("repositories/required"), QStringList({text("zulu"), text("alpha")}));
    }
    QProcess asking;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(text(askVariable), text("1"));
    asking.setProcessEnvironment(environment);
    asking.start(QCoreApplication::applicationFilePath(), QStringList());
    QVERIFY(asking.waitForFinished());
    QCOMPARE(asking.exitCode(), 0);
    QCOMPARE(text(asking.readAllStandardOutput().constData()), output);
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (qEnvironmentVariableIsSet(askVariable))
        return askHandler();
    TstRequiredRepositories test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_requiredrepositories.moc"
