#include "tools/common/progressline.h"

#include <algorithm>
#include <cmath>

namespace {

// Enough to follow a long stage by eye without thousands of lines in the log.
constexpr double minimumStep = 0.005;
constexpr auto quietInterval = std::chrono::seconds(2);

}  // namespace

ProgressLine::ProgressLine(const QString& label, bool withEstimate)
    : label(label)
    , withEstimate(withEstimate)
{
    restart();
}

void ProgressLine::restart()
{
    start = std::chrono::steady_clock::now();
    lastLine = start;
    lastFraction = -1.0;
}

QString ProgressLine::next(double fraction)
{
    fraction = std::clamp(fraction, 0.0, 1.0);
    const auto now = std::chrono::steady_clock::now();
    const bool due = lastFraction < 0.0 || (fraction >= 1.0 && lastFraction < 1.0)
        || fraction - lastFraction >= minimumStep || (now - lastLine >= quietInterval && fraction > lastFraction);
    if (!due)
        return QString();
    lastFraction = fraction;
    lastLine = now;
    return format(fraction);
}

QString ProgressLine::format(double fraction) const
{
    fraction = std::clamp(fraction, 0.0, 1.0);
    // Two decimals cut, not rounded: 99.996% must not read as finished.
    const double percent = std::floor(fraction * 10000.0) / 100.0;
    QString text = label + QStringLiteral(" [") + QString::number(percent, 'f', 2) + QLatin1Char('%');
    if (withEstimate) {
        const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        // Nothing is known before the first part is done; the estimate reads zero until then.
        const double left = fraction > 0.0 ? elapsed * (1.0 - fraction) / fraction : 0.0;
        text += QStringLiteral(" ... E: ") + clockText(left);
    }
    return text + QLatin1Char(']');
}

QString ProgressLine::clockText(double seconds)
{
    const qint64 total = std::isfinite(seconds) && seconds > 0.0 ? qint64(std::ceil(seconds)) : 0;
    return QStringLiteral("%1:%2:%3")
        .arg(total / 3600, 2, 10, QLatin1Char('0'))
        .arg(total / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(total % 60, 2, 10, QLatin1Char('0'));
}
