#include <QGraphicsView>
#include <QPainter>
#include <QtTest>

#include "map/geoview/qgvcameraactions.h"
#include "map/geoview/qgvdrawitem.h"
#include "map/geoview/qgvmap.h"
#include "map/geoview/qgvprojectionepsg3857.h"

namespace {

// A filled rectangle in degrees that counts its clicks.
class TestBox : public QGVDrawItem
{
    Q_OBJECT

public:
    TestBox(const QGV::GeoRect& rect, const QColor& color)
        : geoRect(rect)
        , color(color)
    {}
    void onProjection(QGVMap* geoMap) override
    {
        QGVDrawItem::onProjection(geoMap);
        projRect = geoMap->getProjection()->geoToProj(geoRect);
    }
    QPainterPath projShape() const override
    {
        QPainterPath path;
        path.addRect(projRect);
        return path;
    }
    void projPaint(QPainter* painter) override { painter->fillRect(projRect, color); }
    QTransform projTransform() const override { return QGV::createTransfromAzimuth(projAnchor(), 45); }
    void projOnMouseClick(const QPointF&) override { ++clicks; }
    void projOnMouseDoubleClick(const QPointF&) override { ++clicks; }

    QGV::GeoRect geoRect;
    QRectF projRect;
    QColor color;
    int clicks = 0;
};

}  // namespace

class TestGeoView : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void projection_data();
    void projection();
    void mouseAndSelection();

private:
    QPoint viewPos(double lat, double lon) const
    {
        return map->mapFromProj(map->getProjection()->geoToProj(QGV::GeoPos(lat, lon)));
    }
    void fitTo(const QGV::GeoRect& rect)
    {
        QGVCameraActions actions(map);
        map->cameraTo(actions.scaleTo(rect));
    }
    QGVMap* map = nullptr;
};

void TestGeoView::init()
{
    map = new QGVMap;
    map->resize(400, 300);
    map->show();
    QVERIFY(QTest::qWaitForWindowExposed(map));
}

void TestGeoView::cleanup()
{
    delete map;
}

void TestGeoView::projection_data()
{
    QTest::addColumn<QGV::GeoPos>("pos");
    QTest::addColumn<QPointF>("expected");  // in units of the earth's radius; y grows southwards
    QTest::newRow("60 north") << QGV::GeoPos(60, 30) << QPointF(M_PI / 6, -1.3169578969248166);
    QTest::newRow("60 south, far west") << QGV::GeoPos(-60, -150) << QPointF(-5 * M_PI / 6, 1.3169578969248166);
    QTest::newRow("east of 180") << QGV::GeoPos(0, 190) << QPointF(190 * M_PI / 180, 0);
    QTest::newRow("pole held at 85") << QGV::GeoPos(90, 0)
                                     << QPointF(0, -std::log(std::tan(M_PI / 4 + 85 * M_PI / 360)));
}

void TestGeoView::projection()
{
    QFETCH(QGV::GeoPos, pos);
    QFETCH(QPointF, expected);
    const QPointF proj = map->getProjection()->geoToProj(pos) / QGVProjectionEPSG3857::earthRadius;
    QVERIFY2(qAbs(proj.x() - expected.x()) < 1e-6 && qAbs(proj.y() - expected.y()) < 1e-6,
             qPrintable(QStringLiteral("%1 %2").arg(proj.x()).arg(proj.y())));
    const QGV::GeoPos back = map->getProjection()->projToGeo(map->getProjection()->geoToProj(pos));
    QVERIFY(qAbs(back.lon() - pos.lon()) < 1e-9 && (qAbs(back.lat() - pos.lat()) < 1e-9 || qAbs(pos.lat()) > 85));

    // Fitting shows all of the target, filling one side of the view.
    const double lat = qBound(-60.0, pos.lat(), 60.0);
    fitTo(QGV::GeoRect(lat - 5, pos.lon() - 20, lat + 5, pos.lon() + 20));
    const QRectF target =
        map->getProjection()->geoToProj(QGV::GeoRect(lat - 5, pos.lon() - 20, lat + 5, pos.lon() + 20));
    const QRectF shown = map->getCamera().projRect();
    const double tolerance = 1e-6 * target.width();
    QVERIFY(shown.adjusted(-tolerance, -tolerance, tolerance, tolerance).contains(target));
    QVERIFY(qAbs(shown.width() - target.width()) < tolerance || qAbs(shown.height() - target.height()) < tolerance);
}

void TestGeoView::mouseAndSelection()
{
    auto* bottom = new TestBox(QGV::GeoRect(10, -10, -10, 10), Qt::red);
    auto* top = new TestBox(QGV::GeoRect(5, -5, -5, 5), Qt::blue);
    auto* apart = new TestBox(QGV::GeoRect(5, 20, -5, 30), Qt::green);
    for (TestBox* box : {bottom, top, apart}) {
        box->setFlag(QGV::ItemFlag::Clickable);
        map->addItem(box);
    }
    fitTo(QGV::GeoRect(12, -12, -12, 32));
    QWidget* viewport = map->geoView()->viewport();
    QStringList log;
    const auto note = [&] {
        QStringList selected;
        for (QGVItem* item : map->getSelections())
            selected << QString::number(item == bottom ? 0 : item == top ? 1 : 2);
        log << QStringLiteral("%1%2%3 [%4]")
                   .arg(bottom->clicks)
                   .arg(top->clicks)
                   .arg(apart->clicks)
                   .arg(selected.join(' '));
    };
    // The topmost only; another; Ctrl adds; Ctrl toggles off; a double click clears all.
    const struct
    {
        double lat, lon;
        Qt::KeyboardModifier modifier;
        bool twice;
    } clicks[] = {{0, 0, Qt::NoModifier, false},
                  {8, 8, Qt::NoModifier, false},
                  {0, 25, Qt::ControlModifier, false},
                  {8, 8, Qt::ControlModifier, false},
                  {0, 25, Qt::NoModifier, true}};
    for (const auto& click : clicks) {
        const QPoint at = viewPos(click.lat, click.lon);
        if (click.twice)
            QTest::mouseDClick(viewport, Qt::LeftButton, click.modifier, at),
                QTest::mouseRelease(viewport, Qt::LeftButton, click.modifier, at);
        else
            QTest::mouseClick(viewport, Qt::LeftButton, click.modifier, at);
        note();
    }
    // A drag pans instead of clicking; a removed or deleted item leaves the selection.
    const QPointF centre = map->getCamera().projCenter();
    QTest::mousePress(viewport, Qt::LeftButton, Qt::NoModifier, viewPos(8, 8));
    QMouseEvent move(QEvent::MouseMove, viewPos(8, 8) + QPoint(40, 0), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(viewport, &move);
    QTest::mouseRelease(viewport, Qt::LeftButton, Qt::NoModifier, viewPos(8, 8) + QPoint(40, 0));
    QVERIFY(map->getCamera().projCenter().x() < centre.x());
    for (TestBox* box : {bottom, top, apart})
        map->select(box);
    map->removeItem(top);
    delete apart;
    note();
    QCOMPARE(log, QStringList({"010 [1]", "110 [0]", "111 [0 2]", "211 [2]", "212 []", "212 [0]"}));
    QVERIFY(!top->isSelected() && top->getMap() == nullptr);
    delete top;
}

QTEST_MAIN(TestGeoView)
#include "tst_geoview.moc"
