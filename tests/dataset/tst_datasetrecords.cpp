#include <QtTest>

#include <map>

#include "tests/dataset/fixtures.h"

using namespace TSR::ImageCompressor::API;

class TestDatasetRecords : public QObject
{
    Q_OBJECT

private slots:
    void pathsAndNumbers_data();
    void pathsAndNumbers();
    void shutdownIsSafeAtAnyTime();
};

void TestDatasetRecords::pathsAndNumbers_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");  // the number and whether it is one, after the override prefix
    QTest::newRow("ascii") << "/data/tiles/a.tif" << "0 false";
    QTest::newRow("blanks and umlauts") << "/data/Ortho Münster/Kachel Süd 1.tif" << "0 false";
    QTest::newRow("outside the basic plane") << "/data/\U0001F5FA map.tif" << "0 false";
    QTest::newRow("override") << "EPSG:4326" << "4326 true";
    QTest::newRow("blanks and sign") << "EPSG: -12 " << "-12 true";
    QTest::newRow("largest") << "EPSG:2147483647" << "2147483647 true";
    QTest::newRow("too large") << "EPSG:2147483648" << "0 false";
    QTest::newRow("trailing letters") << "EPSG:32633x" << "0 false";
    QTest::newRow("prefix only") << "EPSG:" << "0 false";
}

void TestDatasetRecords::pathsAndNumbers()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    const TSR::CString fromUtf8(text.toUtf8().constData());
    const TSR::CString fromWide(text.toStdWString());
    std::map<TSR::CString, int> keys{{fromUtf8, 1}};
    keys[fromWide] = 2;
    QCOMPARE(keys.size(), std::size_t(1));
    QCOMPARE(QString::fromUtf8(fromWide.utf8_str()), text);

    // The wizard reads an override's number from the sixth character on.
    const std::size_t colon = fromUtf8.find_first_of(L":");
    bool ok = false;
    const int number = colon == TSR::CString::npos ? 0 : fromUtf8.substr(colon + 1).ToINT32(&ok);
    QCOMPARE(QStringLiteral("%1 %2").arg(number).arg(ok ? "true" : "false"), expected);
}

void TestDatasetRecords::shutdownIsSafeAtAnyTime()
{
    DatasetMetadata tile;
    std::tie(tile.MinX, tile.MinY, tile.MaxX, tile.MaxY) = std::make_tuple(500000, 0, 501000, 1000);
    const auto place = [&tile](ICompressionUtil& util) {
        double box[4];
        util.ReprojectExtent(tile, 32633, 4326, box[0], box[1], box[2], box[3]);
        return QStringLiteral("%1 %2").arg(box[0], 0, 'f', 6).arg(box[3], 0, 'f', 6);
    };
    CompressionUtilFactory::Shutdown();
    auto util = fixtures::makeUtil();
    const QString before = place(*util);
    QCOMPARE(before.left(9), QStringLiteral("15.000000"));
    // The interface in hand works on through a shutdown, and a new factory starts afresh.
    CompressionUtilFactory::Shutdown();
    CompressionUtilFactory::Shutdown();
    QCOMPARE(place(*util), before);
    util.reset();
    CompressionUtilFactory::Shutdown();
    QCOMPARE(place(*fixtures::makeUtil()), before);
}

QTEST_GUILESS_MAIN(TestDatasetRecords)
#include "tst_datasetrecords.moc"
