#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

/** The bytes of one run, taken piece by piece; behind their end come zeros and nothing. */
class FuzzInput
{
public:
    FuzzInput(const std::uint8_t *data, std::size_t size);

    [[nodiscard]] bool isEmpty() const;
    [[nodiscard]] int takeByte();
    /** What stands before the next line end, as UTF-8. */
    [[nodiscard]] QString takeText();
    [[nodiscard]] QByteArray takeRest();

private:
    QByteArray m_data;
    int m_taken = 0;
};

/** Ends the process as a finding unless @p holds. @param rule what should have held. */
void require(bool holds, const char *rule);

/** One run; each target has its own. */
void fuzz(FuzzInput &input);
