#pragma once

#include <QString>
#include <chrono>

// Formats a stage's progress as the application reads it: "<label> [12.34% ... E: 00:01:05]" with
// the time left estimated from the pace so far. Lines are rationed, so a fast stage does not flood
// the pipe and a slow one still shows signs of life.
class ProgressLine
{
public:
    explicit ProgressLine(const QString& label, bool withEstimate = true);

    // Restarts the clock, for a stage that begins later than the object was made.
    void restart();
    // The line for this fraction (0 to 1), or a null string when it is too soon for another one.
    // The first call and a fraction of 1 always give a line.
    QString next(double fraction);
    // The line for a fraction, unconditionally.
    QString format(double fraction) const;

    static QString clockText(double seconds);

private:
    QString label;
    bool withEstimate;
    std::chrono::steady_clock::time_point start;
    std::chrono::steady_clock::time_point lastLine;
    double lastFraction = -1.0;
};
