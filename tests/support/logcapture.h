#pragma once

#include <QStringList>
#include <QtGlobal>

/** Keeps what is logged while it lives, instead of printing it. One at a time. */
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    [[nodiscard]] static QStringList lines();
    /** The lines that hold @p text. */
    [[nodiscard]] static QStringList lines(const char *text);

private:
    QtMessageHandler m_previous;
};
