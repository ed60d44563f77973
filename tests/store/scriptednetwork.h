#pragma once

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QQueue>
#include <QVector>

/** One answer that a scripted network gives. */
struct ScriptedAnswer
{
    QByteArray body;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    int status = 200; // HTTP
    QString errorText;
    bool held = false; // never comes
};

/** A reply that answers from the event loop as its script says. */
class ScriptedReply final : public QNetworkReply
{
    Q_OBJECT

public:
    ScriptedReply(QNetworkAccessManager::Operation operation, const QNetworkRequest &request,
                  const ScriptedAnswer &answer, QObject *parent);

    void abort() override;
    [[nodiscard]] qint64 bytesAvailable() const override;
    [[nodiscard]] bool isSequential() const override { return true; }

protected:
    qint64 readData(char *data, qint64 maximum) override;

private:
    void answer();
    void end();

    ScriptedAnswer m_answer;
    qint64 m_read = 0;
};

/** An access manager without a network: records what is sent and plays queued answers. */
class ScriptedNetwork final : public QNetworkAccessManager
{
    Q_OBJECT

public:
    struct Sent
    {
        Operation operation;
        QNetworkRequest request;
        QByteArray body;
    };

    /** Answers in order; the last one goes on for ever. */
    explicit ScriptedNetwork(const QVector<ScriptedAnswer> &answers = {});

    QVector<Sent> sent;
    QPointer<ScriptedReply> latest;

protected:
    QNetworkReply *createRequest(Operation operation, const QNetworkRequest &request,
                                 QIODevice *body) override;

private:
    QQueue<ScriptedAnswer> m_answers;
};
