#pragma once

#include <QHash>
#include <QString>
#include <QVariant>

// Owner of the JPEG 2000 encoder option type that compression jobs carry, keyed by the option names
// of the job document. The options dialog is to be built on this class, so that the job library does
// not depend on the wizard.
class Jp2Options
{
public:
    using JP2EncodeOptionsHash = QHash<QString, QVariant>;
};
