#include "backgroundactivity.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>

class TstBackgroundActivity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runsOnceForEachWait_data();
    void runsOnceForEachWait();
    void aLaterWaitReplacesAnEarlierOne();
    void waitsAgainFromItsOwnSignal();
    void mayBeDeletedByItsReceiver();
};

void TstBackgroundActivity::runsOnceForEachWait_data()
{
    QTest::addColumn<int>("seconds");

    QTest::newRow("now: zero would switch a timer off") << 0;
    QTest::newRow("in the past") << -5;
    QTest::newRow("later") << 1;
}

void TstBackgroundActivity::runsOnceForEachWait()
{
    QFETCH(int, seconds);
    BackgroundActivity activity;
    QSignalSpy running(&activity, &BackgroundActivity::running);
    QElapsedTimer time;
    time.start();

    activity.wait(seconds, -1);
    QCOMPARE(running.count(), 0); // never from within the call
    QVERIFY(running.wait());
    QVERIFY(time.elapsed() >= seconds * qint64(1000));
    // By the time that another one has run, a repeated one would have as well.
    BackgroundActivity other;
    QSignalSpy otherRunning(&other, &BackgroundActivity::running);
    other.wait(0);
    QVERIFY(otherRunning.wait());
    QCOMPARE(running.count(), 1);
}

void TstBackgroundActivity::aLaterWaitReplacesAnEarlierOne()
{
    BackgroundActivity activity;
    BackgroundActivity other;
    QSignalSpy running(&activity, &BackgroundActivity::running);
    QSignalSpy otherRunning(&other, &BackgroundActivity::running);

    activity.wait(0);
    activity.wait(3600);
    other.wait(0);
    QVERIFY(otherRunning.wait());
    QCOMPARE(running.count(), 0);

    activity.wait(0);
    QVERIFY(running.wait());
    QCOMPARE(running.count(), 1);
}

void TstBackgroundActivity::waitsAgainFromItsOwnSignal()
{
    BackgroundActivity activity;
    QSignalSpy running(&activity, &BackgroundActivity::running);
    connect(&activity, &BackgroundActivity::running, this, [&] {
        if (running.count() < 3)
            activity.wait(0);
    });

    activity.wait(0);
    QTRY_COMPARE(running.count(), 3);
}

void TstBackgroundActivity::mayBeDeletedByItsReceiver()
{
    QPointer<BackgroundActivity> activity = new BackgroundActivity;
    connect(activity, &BackgroundActivity::running, this, [activity] { delete activity; });

    activity->wait(0);
    QTRY_VERIFY(!activity);
}

QTEST_GUILESS_MAIN(TstBackgroundActivity)
#include "tst_backgroundactivity.moc"
