#include <QtTest>

#include <QCheckBox>
#include <QComboBox>
#include <QDateTimeEdit>
#include <QDialogButtonBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <ctime>

#include "compression/jp2options.h"
#include "compression/metadata.h"
#include "core/settings.h"
#include "tests/support/settingssandbox.h"

namespace {

// The property that holds what the user chose in a widget; none for a plain button.
const char* valueProperty(QWidget* widget)
{
    const auto* button = qobject_cast<QAbstractButton*>(widget);
    return qobject_cast<QGroupBox*>(widget) || (button && button->isCheckable()) ? "checked"
           : qobject_cast<QComboBox*>(widget)                                  ? "currentIndex"
           : qobject_cast<QDateTimeEdit*>(widget)                              ? "dateTime"
           : qobject_cast<QSpinBox*>(widget)                                   ? "value"
           : qobject_cast<QLineEdit*>(widget)                                  ? "text"
                                                                               : nullptr;
}

// Sets the named widgets from "name=value" (dates in ISO form, local time); a plain button is clicked.
void drive(QWidget* dialog, const QStringList& changes)
{
    for (const QString& change : changes) {
        const QString name = change.section(QLatin1Char('='), 0, 0);
        auto* widget = dialog->findChild<QWidget*>(name);
        QVERIFY2(widget, qPrintable(name));
        if (const char* property = valueProperty(widget))
            QVERIFY(widget->setProperty(property, change.mid(name.size() + 1)));
        else
            qobject_cast<QAbstractButton*>(widget)->click();
    }
}

// Every named widget's value, and whether it is disabled on its own, in the form's order.
QStringList state(QWidget* dialog)
{
    QStringList values;
    for (QWidget* widget : dialog->findChildren<QWidget*>()) {
        if (valueProperty(widget) && !widget->objectName().startsWith(QLatin1String("qt_")))
            values << widget->objectName() + QLatin1Char('=') + widget->property(valueProperty(widget)).toString() + (widget->isEnabledTo(widget->parentWidget()) ? "" : " off");
    }
    return values;
}

void close(QDialog* dialog, bool accept)
{
    dialog->findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"))->button(accept ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel)->click();
}

}  // namespace

class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    // Two hours ahead of UTC, so that a date's way into UTC shows.
    void initTestCase() { qputenv("TZ", "KPT-2"), tzset(); }
    void init() { sandbox = std::make_unique<SettingsSandbox>(); }
    void jp2Options_data();
    void jp2Options();
    void metaData_data();
    void metaData();

private:
    std::unique_ptr<SettingsSandbox> sandbox;
};

void TestDialogs::jp2Options_data()
{
    QTest::addColumn<QStringList>("changes");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QVariantHash>("expected");
    const QString both = QStringLiteral("gml,geojp2");
    QTest::newRow("defaults accepted") << QStringList{} << true << QVariantHash{{"jp2georef", both}};
    QTest::newRow("no georeferencing is stated") << QStringList{"gmlJp2heckBox=0", "geoJp2heckBox=0"} << true << QVariantHash{{"jp2georef", "none"}};
    QTest::newRow("advanced group alone states the markers") << QStringList{"advancedJp2OptionsGroupBox=1"} << true
                                                             << QVariantHash{{"jp2markers", "sop,eph"}, {"jp2georef", both}};
    QTest::newRow("every advanced choice") << QStringList{"advancedJp2OptionsGroupBox=1", "tileSizeComboBox=3", "precinctSizeComboBox=1", "progressionOrderComboBox=1",
                                                          "qualityLayersSpinBox=2", "ephMarkersCheckBox=0", "geoJp2heckBox=0"}
                                           << true
                                           << QVariantHash{{"jp2tilesize", "1024"}, {"jp2precinctsize", "64"}, {"jp2progressionorder", "RPCL"},
                                                           {"jp2qualitylayers", 2}, {"jp2markers", "sop"}, {"jp2georef", "gml"}};
    QTest::newRow("unchecked group hides its choices, which are still kept")
        << QStringList{"tileSizeComboBox=6", "progressionOrderComboBox=3", "qualityLayersSpinBox=30", "sopMarkersCheckBox=0"} << true
        << QVariantHash{{"jp2georef", both}};
    QTest::newRow("no markers, one quality layer") << QStringList{"advancedJp2OptionsGroupBox=1", "qualityLayersSpinBox=1", "sopMarkersCheckBox=0", "ephMarkersCheckBox=0"}
                                                   << true << QVariantHash{{"jp2markers", "none"}, {"jp2georef", both}};
    QTest::newRow("defaults button, then cancelled") << QStringList{"advancedJp2OptionsGroupBox=1", "tileSizeComboBox=2", "gmlJp2heckBox=0", "defaults"} << false
                                                     << QVariantHash{{"jp2georef", both}};
    QTest::newRow("choices cancelled") << QStringList{"advancedJp2OptionsGroupBox=1", "precinctSizeComboBox=5"} << false
                                       << QVariantHash{{"jp2precinctsize", "1024"}, {"jp2markers", "sop,eph"}, {"jp2georef", both}};
}

// A second dialog shows what the first saved: all of it on OK, nothing on Cancel.
void TestDialogs::jp2Options()
{
    QFETCH(QStringList, changes);
    QFETCH(bool, accepted);
    QFETCH(QVariantHash, expected);
    QStringList before, after;
    {
        Jp2Options first;
        before = state(&first);
        drive(&first, changes);
        QCOMPARE(first.options(), expected);
        after = state(&first);
        close(&first, accepted);
    }
    Jp2Options second;
    QCOMPARE(state(&second), accepted ? after : before);
}

void TestDialogs::metaData_data()
{
    QTest::addColumn<QStringList>("changes");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<MetaData::MetaDataHash>("expected");
    QTest::addColumn<MetaData::MetaDataHash>("stored");  // beside the empty keys
    QTest::newRow("every field, a date at noon local time")
        << QStringList{"classificationEdit=Public", "aquisitionDateCheckBox=1", "aquisitionDate=2021-06-01T12:00:00", "sensorEdit=S2", "authorEdit=Ann", "copyrightEdit=(c) Ann",
                       "companyEdit=Tessara", "emailEdit=ann@example.org", "addressEdit=Road 1", "telephoneEdit=+49 1"}
        << true
        << MetaData::MetaDataHash{{"classification", "Public"}, {"acquistiondate", "2021-06-01T10:00:00Z"}, {"acquisitionsensorname", "S2"}, {"author", "Ann"},
                                  {"copyright", "(c) Ann"}, {"company", "Tessara"}, {"email", "ann@example.org"}, {"address", "Road 1"}, {"telephone", "+49 1"}}
        << MetaData::MetaDataHash{{"classification", "Public"}, {"acquistiondate", "2021-06-01T12:00:00.000"}, {"acquisitionsensorname", "S2"}, {"author", "Ann"},
                                  {"copyright", "(c) Ann"}, {"company", "Tessara"}, {"email", "ann@example.org"}, {"address", "Road 1"}, {"telephone", "+49 1"}};
    QTest::newRow("a cleared field and an unset date")
        << QStringList{"authorEdit=", "classificationEdit=Public", "aquisitionDate=2022-03-04T05:06:07"} << true << MetaData::MetaDataHash{{"classification", "Public"}}
        << MetaData::MetaDataHash{{"classification", "Public"}, {"acquistiondate", "2022-03-04T05:06:07.000"}};
    QTest::newRow("metadata turned off and cancelled") << QStringList{"groupBox=0", "authorEdit=New", "aquisitionDateCheckBox=1"} << false
                                                        << MetaData::MetaDataHash{{"author", "New"}, {"acquistiondate", "2020-01-01T06:00:00Z"}}
                                                        << MetaData::MetaDataHash{{"author", "Old"}, {"acquistiondate", "2020-01-01T08:00:00.000"}};
}

// A second dialog shows what the first saved: everything on OK, only whether to write metadata on
// Cancel.
void TestDialogs::metaData()
{
    QFETCH(QStringList, changes);
    QFETCH(bool, accepted);
    QFETCH(MetaData::MetaDataHash, expected);
    QFETCH(MetaData::MetaDataHash, stored);
    {
        const auto settings = createSettings();
        settings->setValue(MetaDataSettings::WriteMetadata, true);
        settings->setValue(MetaDataSettings::Author, QStringLiteral("Old"));
        settings->setValue(MetaDataSettings::AquisitionDate, QDateTime(QDate(2020, 1, 1), QTime(8, 0)));
    }
    QStringList before, after;
    {
        MetaData first;
        before = state(&first);
        drive(&first, changes);
        QCOMPARE(first.metaData(), expected);
        after = state(&first);
        close(&first, accepted);
    }
    if (!accepted)
        before.replaceInStrings(QRegularExpression(QStringLiteral("^groupBox=.*")), after.filter(QRegularExpression(QStringLiteral("^groupBox="))).value(0));
    MetaData second;
    QCOMPARE(state(&second), accepted ? after : before);
    for (const char* key : {"acquistiondate", "acquisitionsensorname", "address", "author", "classification", "company", "copyright", "email", "telephone"})
        stored.insert(key, stored.value(key));
    QCOMPARE(MetaData::storedMetaData(), stored);
}

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
