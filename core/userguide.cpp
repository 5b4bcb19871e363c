#include "core/userguide.h"

#include <QUrlQuery>

#include "core/settings.h"

QUrl userGuideUrl()
{
    QUrl fallback(QStringLiteral("https://docs.tessarageodata.com/search"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("query"), AppConstants::ApplicationName);
    query.addQueryItem(QStringLiteral("content-lang"), QStringLiteral("en-US"));
    fallback.setQuery(query);
    const QString configured = createSettings()->value(QStringLiteral("GUI/UserGuideUrl")).toString();
    return configured.isEmpty() ? fallback : QUrl(configured);
}
