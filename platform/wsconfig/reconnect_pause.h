#pragma once

// ReconnectPause tells how long to wait before the next try to open a stream:
// the shortest pause first, then twice as long each time, up to the longest.
class ReconnectPause
{
public:
    // Both in milliseconds, above 0.
    ReconnectPause(int shortestMs, int longestMs)
        : m_shortestMs(shortestMs), m_longestMs(longestMs), m_nextMs(shortestMs)
    {
    }

    // The pause to keep now, in milliseconds.
    [[nodiscard]] int next()
    {
        const int pause = m_nextMs;
        m_nextMs = pause > m_longestMs / 2 ? m_longestMs : pause * 2;
        return pause;
    }

    // Starts over with the shortest pause.
    void reset() { m_nextMs = m_shortestMs; }

private:
    const int m_shortestMs;
    const int m_longestMs;
    int m_nextMs;
};
