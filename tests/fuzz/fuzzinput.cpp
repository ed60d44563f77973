#include "fuzzinput.h"

#include <cstdio>
#include <cstdlib>

FuzzInput::FuzzInput(const std::uint8_t *data, std::size_t size)
    : m_data(reinterpret_cast<const char *>(data), int(size))
{ }

bool FuzzInput::isEmpty() const
{
    return m_taken >= m_data.size();
}

int FuzzInput::takeByte()
{
    return isEmpty() ? 0 : static_cast<unsigned char>(m_data.at(m_taken++));
}

QString FuzzInput::takeText()
{
    const int end = m_data.indexOf('\n', m_taken);
    const int length = (end < 0 ? m_data.size() : end) - m_taken;
    const QByteArray text = m_data.mid(m_taken, length);
    m_taken += length + 1;
    return QString::fromUtf8(text);
}

QByteArray FuzzInput::takeRest()
{
    QByteArray rest = m_data.mid(m_taken);
    m_taken = m_data.size();
    return rest;
}

void require(bool holds, const char *rule)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken rule: %s\n", rule);
    std::abort();
}
