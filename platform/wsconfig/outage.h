#pragma once

// Outage decides which losses of a stream are worth a line, so that a service
// that is down for years fills no log: one line when the stream is lost, one
// more when the service is there again but answers wrongly, which is another
// fault than the one told first, and one when the stream is back.
class Outage
{
public:
    enum class Cause {
        NoService,   // refused, closed, silent
        WrongAnswer, // answered, but not with an event stream
    };

    // A stream was lost, or could not be opened. Returns whether to tell so.
    [[nodiscard]] bool begin(Cause cause)
    {
        const bool tell = !m_on || (cause == Cause::WrongAnswer && !m_toldWrongAnswer);
        m_on = true;
        m_toldWrongAnswer = m_toldWrongAnswer || cause == Cause::WrongAnswer;
        return tell;
    }

    // The stream delivers. Returns whether to tell so.
    [[nodiscard]] bool end()
    {
        const bool tell = m_on;
        m_on = false;
        m_toldWrongAnswer = false;
        return tell;
    }

private:
    bool m_on = false;
    bool m_toldWrongAnswer = false;
};
