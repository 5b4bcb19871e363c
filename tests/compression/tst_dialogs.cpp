#include <QtTest>

#include <QDialogButtonBox>
#include <QPushButton>
#include <ctime>

#include "compression/jp2options.h"
#include "compression/metadata.h"
#include "core/settings.h"
#include "tests/support/settingssandbox.h"

// Every named widget's user value (a box's check, a combo box's text...), and if it is disabled on its own.
static QStringList state(QWidget* dialog)
{
    QStringList values;
    for (QWidget* w : dialog->findChildren<QWidget*>(QRegularExpression(QStringLiteral("^[a-z]"))))
        if (w->metaObject()->userProperty().isValid())
            values << w->objectName() + '=' + w->metaObject()->userProperty().read(w).toString()
                    + (w->isEnabledTo(w->parentWidget()) ? "" : " off");
    return values;
}

// Drives a dialog with the row's "name=value" changes (a bare name is a button), closes it and checks
// its result. A second dialog shows what it saved: all on OK, on Cancel the first `keptOnCancel` choices.
template <class Dialog, class Result> static void run(Result (Dialog::*result)() const, int keptOnCancel)
{
    QFETCH(QStringList, changes);
    QFETCH(bool, accepted);
    QFETCH(Result, expected);
    SettingsSandbox sandbox;
    const auto settings = createSettings();
    settings->setValue(MetaDataSettings::WriteMetadata, true);
    settings->setValue(MetaDataSettings::Author, QStringLiteral("Old"));
    settings->setValue(MetaDataSettings::AquisitionDate, QDateTime(QDate(2020, 1, 1), QTime(8, 0)));
    QStringList before, after;
    {
        Dialog first;
        before = state(&first);
        for (const QString& change : changes) {
            auto* widget = first.template findChild<QWidget*>(change.section('=', 0, 0));
            change.contains('=') ? void(widget->metaObject()->userProperty().write(widget, change.section('=', 1)))
                                 : qobject_cast<QPushButton*>(widget)->click();
        }
        after = state(&first);
        first.template findChild<QDialogButtonBox*>()
            ->button(accepted ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel)
            ->click();
        QCOMPARE((first.*result)(), expected);
    }
    Dialog second;
    QCOMPARE(state(&second), accepted ? after : after.mid(0, keptOnCancel) + before.mid(keptOnCancel));
}

class TestDialogs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        qputenv("TZ", "KPT-2"), tzset();
    }  // two hours ahead of UTC, so that the date's way into UTC shows
    void jp2Options_data();
    void jp2Options() { run(&Jp2Options::options, 0); }
    void metaData_data();
    void metaData() { run(&MetaData::metaData, 1); }  // whether to write metadata at all is kept on Cancel
};

void TestDialogs::jp2Options_data()
{
    QTest::addColumn<QStringList>("changes");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QVariantHash>("expected");
    const QString both = QStringLiteral("gml,geojp2"), group = QStringLiteral("advancedJp2OptionsGroupBox=1");
    QTest::newRow("defaults") << QStringList{} << true << QVariantHash{{"jp2georef", both}};
    QTest::newRow("advanced group alone")
        << QStringList{group} << true << QVariantHash{{"jp2markers", "sop,eph"}, {"jp2georef", both}};
    QTest::newRow("every advanced choice")
        << QStringList{group,
                       "tileSizeComboBox=1024",
                       "precinctSizeComboBox=64",
                       "progressionOrderComboBox=RPCL",
                       "qualityLayersSpinBox=2",
                       "ephMarkersCheckBox=0",
                       "geoJp2heckBox=0",
                       "gmlJp2heckBox=0"}
        << true << QVariantHash{{"jp2tilesize", "1024"}, {"jp2precinctsize", "64"}, {"jp2progressionorder", "RPCL"},
                                {"jp2qualitylayers", 2}, {"jp2markers", "sop"},     {"jp2georef", "none"}};
    QTest::newRow("choices kept in an unchecked group")
        << QStringList{"tileSizeComboBox=8192", "progressionOrderComboBox=RLCP", "qualityLayersSpinBox=30",
                       "sopMarkersCheckBox=0", "geoJp2heckBox=0"}
        << true << QVariantHash{{"jp2georef", "gml"}};
    QTest::newRow("defaults button, no markers, cancelled")
        << QStringList{group, "tileSizeComboBox=512",      "gmlJp2heckBox=0",      "defaults",
                       group, "precinctSizeComboBox=1024", "sopMarkersCheckBox=0", "ephMarkersCheckBox=0"}
        << false << QVariantHash{{"jp2precinctsize", "1024"}, {"jp2markers", "none"}, {"jp2georef", both}};
}

void TestDialogs::metaData_data()
{
    QTest::addColumn<QStringList>("changes");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<MetaData::MetaDataHash>("expected");
    QTest::newRow("every field, a date at noon local time")
        << QStringList{"classificationEdit=Public",
                       "aquisitionDateCheckBox=1",
                       "aquisitionDate=2021-06-01T12:00:00",
                       "sensorEdit=S2",
                       "authorEdit=Ann",
                       "copyrightEdit=(c) Ann",
                       "companyEdit=Tessara",
                       "emailEdit=ann@example.org",
                       "addressEdit=Road 1",
                       "telephoneEdit=+49 1"}
        << true << MetaData::MetaDataHash{{"classification", "Public"},    {"acquistiondate", "2021-06-01T10:00:00Z"},
                                          {"acquisitionsensorname", "S2"}, {"author", "Ann"},
                                          {"copyright", "(c) Ann"},        {"company", "Tessara"},
                                          {"email", "ann@example.org"},    {"address", "Road 1"},
                                          {"telephone", "+49 1"}};
    QTest::newRow("a cleared field and an unset date, whose date is kept")
        << QStringList{"authorEdit=", "classificationEdit=Public", "aquisitionDate=2022-03-04T05:06:07"} << true
        << MetaData::MetaDataHash{{"classification", "Public"}};
    QTest::newRow("metadata turned off, cancelled")
        << QStringList{"groupBox=0", "authorEdit=New", "aquisitionDateCheckBox=1"} << false
        << MetaData::MetaDataHash{{"author", "New"}, {"acquistiondate", "2020-01-01T06:00:00Z"}};
}

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
