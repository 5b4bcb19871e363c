#include <QGraphicsView>
#include <QPainter>
#include <QtTest>

#include "map/geoview/qgvcameraactions.h"
#include "map/geoview/qgvdrawitem.h"
#include "map/geoview/qgvmap.h"
#include "map/geoview/qgvprojectionepsg3857.h"
#include "map/geoview/qgvwidgettext.h"

namespace {

// A filled rectangle in degrees that counts its clicks.
class TestBox : public QGVDrawItem
{
    Q_OBJECT

public:
    TestBox(const QGV::GeoRect& rect, const QColor& color) : geoRect(rect), color(color) {}
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
    void geoRects_data();
    void geoRects();
    void projection_data();
    void projection();
    void mouseAndSelection();
    void paintOrderAndFlags_data();
    void paintOrderAndFlags();
    void widgetAnchors_data();
    void widgetAnchors();

private:
    QPoint viewPos(double lat, double lon) const { return map->mapFromProj(map->getProjection()->geoToProj(QGV::GeoPos(lat, lon))); }
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

void TestGeoView::geoRects_data()
{
    QTest::addColumn<QGV::GeoRect>("rect");
    QTest::addColumn<QString>("expected");  // corners, then whether it holds 45/15, 50/10, 40/20, 40/15, itself
    const QString box = QStringLiteral("50 10 40 20 | 1 1 0 0 1");
    QTest::newRow("top left first") << QGV::GeoRect(50, 10, 40, 20) << box;
    QTest::newRow("bottom right first") << QGV::GeoRect(40, 20, 50, 10) << box;
    QTest::newRow("from positions") << QGV::GeoRect(QGV::GeoPos(50, 20), QGV::GeoPos(40, 10)) << box;
    QTest::newRow("default: empty") << QGV::GeoRect() << QStringLiteral("empty | 0 0 0 0 0");
}

void TestGeoView::geoRects()
{
    QFETCH(QGV::GeoRect, rect);
    QFETCH(QString, expected);
    QString result = rect.isEmpty() ? QStringLiteral("empty")
                                    : QStringLiteral("%1 %2 %3 %4").arg(rect.latTop()).arg(rect.lonLeft()).arg(rect.latBottom()).arg(rect.lonRight());
    result += QStringLiteral(" | %1 %2 %3 %4 %5").arg(rect.contains(QGV::GeoPos(45, 15))).arg(rect.contains(QGV::GeoPos(50, 10)))
                  .arg(rect.contains(QGV::GeoPos(40, 20))).arg(rect.contains(QGV::GeoPos(40, 15))).arg(rect.contains(rect));
    QCOMPARE(result, expected);
}

void TestGeoView::projection_data()
{
    QTest::addColumn<QGV::GeoPos>("pos");
    QTest::addColumn<QPointF>("expected");  // in units of the earth's radius; y grows southwards
    QTest::newRow("60 north") << QGV::GeoPos(60, 30) << QPointF(M_PI / 6, -1.3169578969248166);
    QTest::newRow("60 south, far west") << QGV::GeoPos(-60, -150) << QPointF(-5 * M_PI / 6, 1.3169578969248166);
    QTest::newRow("east of 180") << QGV::GeoPos(0, 190) << QPointF(190 * M_PI / 180, 0);
    QTest::newRow("pole held at 85") << QGV::GeoPos(90, 0) << QPointF(0, -std::log(std::tan(M_PI / 4 + 85 * M_PI / 360)));
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
    const QRectF target = map->getProjection()->geoToProj(QGV::GeoRect(lat - 5, pos.lon() - 20, lat + 5, pos.lon() + 20));
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
        log << QStringLiteral("%1%2%3 [%4]").arg(bottom->clicks).arg(top->clicks).arg(apart->clicks).arg(selected.join(' '));
    };
    QTest::mouseClick(viewport, Qt::LeftButton, Qt::NoModifier, viewPos(0, 0));  // the topmost only
    note();
    QTest::mouseClick(viewport, Qt::LeftButton, Qt::NoModifier, viewPos(8, 8));
    note();
    QTest::mouseClick(viewport, Qt::LeftButton, Qt::ControlModifier, viewPos(0, 25));
    note();
    QTest::mouseClick(viewport, Qt::LeftButton, Qt::ControlModifier, viewPos(8, 8));  // toggles off
    note();
    QTest::mouseDClick(viewport, Qt::LeftButton, Qt::NoModifier, viewPos(0, 25));  // clears all
    QTest::mouseRelease(viewport, Qt::LeftButton, Qt::NoModifier, viewPos(0, 25));
    note();
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

void TestGeoView::paintOrderAndFlags_data()
{
    QTest::addColumn<int>("flags");
    QTest::addColumn<double>("reach");  // how far red reaches right of the centre, in pixels per view pixel of the box
    QTest::newRow("plain") << 0 << 1.0;
    QTest::newRow("transformed: a corner on the axis") << int(QGV::ItemFlag::Transformed) << std::sqrt(2.0);
}

void TestGeoView::paintOrderAndFlags()
{
    QFETCH(int, flags);
    QFETCH(double, reach);
    auto* red = new TestBox(QGV::GeoRect(10, -10, -10, 10), Qt::red);
    red->setFlags(QGV::ItemFlags(flags));
    map->addItem(red);
    map->addItem(new TestBox(QGV::GeoRect(2, -30, -2, -12), Qt::blue));  // later, so above
    map->addItem(new TestBox(QGV::GeoRect(1, -40, -1, -20), Qt::green));
    fitTo(QGV::GeoRect(30, -45, -30, 45));
    const QImage image = map->grab().toImage();
    int x = viewPos(0, 0).x();
    while (image.pixelColor(x, viewPos(0, 0).y()) == QColor(Qt::red))
        ++x;
    const double expected = (viewPos(0, 10).x() - viewPos(0, 0).x()) * reach;
    QVERIFY2(qAbs(x - viewPos(0, 0).x() - expected) <= 2, qPrintable(QString::number(x - viewPos(0, 0).x())));
    QCOMPARE(image.pixelColor(viewPos(0, -25)), QColor(Qt::green));
    QCOMPARE(image.pixelColor(viewPos(0, -14)), QColor(Qt::blue));
}

void TestGeoView::widgetAnchors_data()
{
    QTest::addColumn<QList<int>>("edges");
    QTest::addColumn<QString>("expected");  // position on a 400 x 300 map, then x on a 600 wide one
    QTest::newRow("left top") << QList<int>{Qt::LeftEdge, Qt::TopEdge} << "30 60 30";
    QTest::newRow("right bottom") << QList<int>{Qt::RightEdge, Qt::BottomEdge} << "270 220 470";
    QTest::newRow("centred") << QList<int>{} << "180 200 280";
}

void TestGeoView::widgetAnchors()
{
    QFETCH(QList<int>, edges);
    QFETCH(QString, expected);
    QSet<Qt::Edge> edgeSet;
    for (int edge : edges)
        edgeSet.insert(Qt::Edge(edge));
    auto* widget = new QGVWidgetText;
    map->addWidget(widget);
    widget->setText(QStringLiteral("Message"));
    widget->setFixedSize(100, 20);
    widget->setAnchor(QPoint(30, 60), edgeSet);
    const QPoint first = widget->pos();
    map->resize(600, 300);
    QTRY_COMPARE(map->width(), 600);
    QCOMPARE(QStringLiteral("%1 %2 %3").arg(first.x()).arg(first.y()).arg(widget->x()), expected);
    QVERIFY(widget->testAttribute(Qt::WA_TransparentForMouseEvents));
}

QTEST_MAIN(TestGeoView)
#include "tst_geoview.moc"
