#pragma once

#include <QHash>
#include <QString>

// Owner of the header metadata type that compression jobs carry, keyed by the field names of the job
// document's metadata part; a missing key is an empty field. The metadata dialog is to be built on
// this class, so that the job library does not depend on the wizard.
class MetaData
{
public:
    using MetaDataHash = QHash<QString, QString>;
};
