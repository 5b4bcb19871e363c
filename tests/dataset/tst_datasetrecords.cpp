#include <QtTest>

#include <map>

#include "wizard/dataset/compressionutilfactory.h"
#include "wizard/dataset/icompressionutil.h"

using namespace TSR::ImageCompressor::API;

class TestDatasetRecords : public QObject
{
    Q_OBJECT

private slots:
    void utf8AndWideFormsAreOneKey_data();
    void utf8AndWideFormsAreOneKey();
    void toInt32_data();
    void toInt32();
    void editing();
    void errorTextSurvivesAsStdException();
    void combineClipRegions_data();
    void combineClipRegions();
    void shutdownIsSafeAtAnyTime();
};

void TestDatasetRecords::utf8AndWideFormsAreOneKey_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("ascii") << QStringLiteral("/data/tiles/a.tif");
    QTest::newRow("blanks and umlauts") << QStringLiteral("/data/Ortho Münster/Kachel Süd 1.tif");
    QTest::newRow("outside the basic plane") << QStringLiteral("/data/\U0001F5FA map.tif");
}

void TestDatasetRecords::utf8AndWideFormsAreOneKey()
{
    QFETCH(QString, path);
    const QByteArray utf8 = path.toUtf8();
    const TSR::CString fromUtf8(utf8.constData());
    const TSR::CString fromWide(path.toStdWString());

    std::map<TSR::CString, int> keys;
    keys[fromUtf8] = 1;
    keys[fromWide] = 2;
    QCOMPARE(keys.size(), std::size_t(1));
    QCOMPARE(keys.begin()->second, 2);
    QCOMPARE(QString::fromUtf8(fromWide.utf8_str()), path);
    QCOMPARE(fromUtf8.length(), path.toStdWString().length());

    TSR::CString assigned;
    assigned = path.toStdWString();
    QVERIFY(!(assigned < fromUtf8) && !(fromUtf8 < assigned));
}

void TestDatasetRecords::toInt32_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("ok");
    QTest::newRow("plain") << "4326" << 4326 << true;
    QTest::newRow("blanks and sign") << " -12 " << -12 << true;
    QTest::newRow("largest") << "2147483647" << 2147483647 << true;
    QTest::newRow("too large") << "2147483648" << 0 << false;
    QTest::newRow("trailing letters") << "32633x" << 0 << false;
    QTest::newRow("prefix") << "EPSG:4326" << 0 << false;
    QTest::newRow("empty") << "" << 0 << false;
}

void TestDatasetRecords::toInt32()
{
    QFETCH(QString, text);
    QFETCH(int, value);
    QFETCH(bool, ok);
    bool parsed = !ok;
    const TSR::CString string(text.toStdWString());
    QCOMPARE(string.ToINT32(&parsed), value);
    QCOMPARE(parsed, ok);
    QCOMPARE(string.ToINT32(), value);
}

void TestDatasetRecords::editing()
{
    TSR::CString text("EPSG:");
    text += "32633";
    QCOMPARE(QString::fromUtf8(text.utf8_str()), QStringLiteral("EPSG:32633"));
    const std::size_t colon = text.find_first_of(L":");
    QCOMPARE(colon, std::size_t(4));
    QCOMPARE(text.substr(colon + 1).ToINT32(), 32633);
    QCOMPARE(QString::fromUtf8(text.substr(0, colon).utf8_str()), QStringLiteral("EPSG"));
    QCOMPARE(text.find_first_of(L"#", 0), TSR::CString::npos);
    QVERIFY(text.substr(99).empty());

    TSR::CString moved(std::move(text));
    QCOMPARE(QString::fromUtf8(moved.utf8_str()), QStringLiteral("EPSG:32633"));
    moved.clear();
    QVERIFY(moved.empty());
    QCOMPARE(QString::fromUtf8(moved.utf8_str()), QString());
}

void TestDatasetRecords::errorTextSurvivesAsStdException()
{
    try {
        throw TSR::CRuntimeError("Cannot open \"/x/ä.tif\": permission denied");
    } catch (const std::exception& error) {
        QCOMPARE(QString::fromUtf8(error.what()),
                 QStringLiteral("Cannot open \"/x/ä.tif\": permission denied"));
    }
}

void TestDatasetRecords::combineClipRegions_data()
{
    QTest::addColumn<QVector<QRectF>>("boxes");
    QTest::addColumn<bool>("nullEntry");
    QTest::addColumn<QRectF>("expected");
    QTest::newRow("one") << QVector<QRectF>{QRectF(QPointF(1, 2), QPointF(3, 4))} << false
                         << QRectF(QPointF(1, 2), QPointF(3, 4));
    QTest::newRow("union") << QVector<QRectF>{QRectF(QPointF(1, 2), QPointF(3, 4)),
                                              QRectF(QPointF(-5, 3), QPointF(2, 9))}
                           << false << QRectF(QPointF(-5, 2), QPointF(3, 9));
    // An entry cut to a dataset it does not meet keeps an empty box, which must not widen the union.
    QTest::newRow("empty entries ignored")
        << QVector<QRectF>{QRectF(QPointF(0, 0), QPointF(0, 0)), QRectF(QPointF(10, 10), QPointF(12, 11)),
                           QRectF(QPointF(7, 5), QPointF(6, 8))}
        << true << QRectF(QPointF(10, 10), QPointF(12, 11));
    QTest::newRow("all empty") << QVector<QRectF>{QRectF(QPointF(0, 0), QPointF(0, 0))} << true
                               << QRectF(QPointF(0, 0), QPointF(0, 0));
}

void TestDatasetRecords::combineClipRegions()
{
    QFETCH(QVector<QRectF>, boxes);
    QFETCH(bool, nullEntry);
    QFETCH(QRectF, expected);
    ClipInfoMap regions;
    if (nullEntry)
        regions["/data/!first.tif"] = nullptr;  // sorts before the others
    for (int i = 0; i < boxes.size(); ++i) {
        auto region = std::make_shared<ExtractedFeatureClipInfo>();
        region->LayerName = "parcels";
        region->FeatureId = 7;
        region->CRS = CCRSIdentifier(32633);
        region->StringAttributes["name"] = "north";
        region->IntersectingDatasets = {TSR::CString("/data/0.tif")};
        region->MinX = boxes[i].left();
        region->MinY = boxes[i].top();
        region->MaxX = boxes[i].right();
        region->MaxY = boxes[i].bottom();
        regions["/data/" + std::to_string(i) + ".tif"] = region;
    }
    auto factory = std::make_shared<CompressionUtilFactory>();
    std::shared_ptr<ICompressionUtil> util;
    factory->GetCompressionUtil(util);
    ClipInfoPtr combined;
    util->CombineClipRegions(regions, combined);
    QVERIFY(combined);
    QCOMPARE(QRectF(QPointF(combined->MinX, combined->MinY), QPointF(combined->MaxX, combined->MaxY)),
             expected);
    QCOMPARE(combined->LayerName, std::string("parcels"));
    QCOMPARE(combined->FeatureId, 7);
    QCOMPARE(combined->CRS.GetEPSG(), 32633);
    QCOMPARE(combined->StringAttributes.at("name"), std::string("north"));
    QCOMPARE(combined->IntersectingDatasets.size(), std::size_t(1));
}

void TestDatasetRecords::shutdownIsSafeAtAnyTime()
{
    CompressionUtilFactory::Shutdown();
    auto factory = std::make_shared<CompressionUtilFactory>();
    std::shared_ptr<ICompressionUtil> util;
    factory->GetCompressionUtil(util);
    DatasetMetadata tile;
    tile.MinX = 500000;
    tile.MinY = 0;
    tile.MaxX = 501000;
    tile.MaxY = 1000;
    double minX, minY, maxX, maxY;
    util->ReprojectExtent(tile, 32633, 4326, minX, minY, maxX, maxY);
    // The interface in hand keeps working through a shutdown, and a new factory starts afresh.
    CompressionUtilFactory::Shutdown();
    CompressionUtilFactory::Shutdown();
    double again[4];
    util->ReprojectExtent(tile, 32633, 4326, again[0], again[1], again[2], again[3]);
    QCOMPARE(again[0], minX);
    QCOMPARE(again[3], maxY);
    factory.reset();
    util.reset();
    CompressionUtilFactory::Shutdown();
    factory = std::make_shared<CompressionUtilFactory>();
    factory->GetCompressionUtil(util);
    util->ReprojectExtent(tile, 32633, 4326, again[0], again[1], again[2], again[3]);
    QCOMPARE(again[2], maxX);
    QVERIFY(qAbs(minX - 15.0) < 1e-9);
}

QTEST_GUILESS_MAIN(TestDatasetRecords)
#include "tst_datasetrecords.moc"
