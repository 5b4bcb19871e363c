#include <QGraphicsView>
#include <QPainter>
#include <QtTest>

#include "map/geoview/qgvcameraactions.h"
#include "map/geoview/qgvdrawitem.h"
#include "map/geoview/qgvmap.h"
#include "map/geoview/qgvprojectionepsg3857.h"
#include "map/geoview/qgvwidgettext.h"

namespace {

// A filled rectangle in degrees that counts the clicks it is given.
class TestBox : public QGVDrawItem
{
    Q_OBJECT

public:
    TestBox(const QGV::GeoRect& rect, const QColor& color)
        : geoRect(rect)
        , color(color)
    {
    }

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
    void projPaint(QPainter* painter) override
    {
        painter->setPen(Qt::NoPen);
        painter->setBrush(color);
        painter->drawRect(projRect);
    }
    QTransform projTransform() const override { return QGV::createTransfromAzimuth(projAnchor(), 45); }
    void projOnMouseClick(const QPointF&) override { ++clicks; }
    void projOnMouseDoubleClick(const QPointF&) override { ++doubleClicks; }

    QGV::GeoRect geoRect;
    QRectF projRect;
    QColor color;
    int clicks = 0;
    int doubleClicks = 0;
};

constexpr double R = QGVProjectionEPSG3857::earthRadius;

}  // namespace

class TestGeoView : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void geoRectNormalises_data();
    void geoRectNormalises();
    void geoRectContains_data();
    void geoRectContains();
    void projectionRoundTrip_data();
    void projectionRoundTrip();
    void projectionClampsLatitude();
    void scaleToFitsTarget_data();
    void scaleToFitsTarget();
    void fitBeforeSizeIsAppliedOnShow();
    void clickGoesToTopmostItem_data();
    void clickGoesToTopmostItem();
    void ctrlClickToggles();
    void doubleClickClearsSelection();
    void removedItemLeavesNoSelection();
    void laterItemPaintsAbove();
    void flagsGateTransforms_data();
    void flagsGateTransforms();
    void widgetAnchors_data();
    void widgetAnchors();

private:
    QPoint viewPos(const QGV::GeoPos& pos) const;
    QWidget* viewport() const;

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
    map = nullptr;
}

QPoint TestGeoView::viewPos(const QGV::GeoPos& pos) const
{
    return map->mapFromProj(map->getProjection()->geoToProj(pos));
}

QWidget* TestGeoView::viewport() const
{
    return map->geoView()->viewport();
}

void TestGeoView::geoRectNormalises_data()
{
    QTest::addColumn<QGV::GeoRect>("rect");
    QTest::newRow("top left first") << QGV::GeoRect(50, 10, 40, 20);
    QTest::newRow("bottom right first") << QGV::GeoRect(40, 20, 50, 10);
    QTest::newRow("bottom left first") << QGV::GeoRect(40, 10, 50, 20);
    QTest::newRow("from positions") << QGV::GeoRect(QGV::GeoPos(50, 20), QGV::GeoPos(40, 10));
}

void TestGeoView::geoRectNormalises()
{
    QFETCH(QGV::GeoRect, rect);
    QVERIFY(!rect.isEmpty());
    QCOMPARE(rect.topLeft(), QGV::GeoPos(50, 10));
    QCOMPARE(rect.topRight(), QGV::GeoPos(50, 20));
    QCOMPARE(rect.bottomLeft(), QGV::GeoPos(40, 10));
    QCOMPARE(rect.bottomRight(), QGV::GeoPos(40, 20));
    QCOMPARE(rect.latTop(), 50.0);
    QCOMPARE(rect.latBottom(), 40.0);
    QCOMPARE(rect.lonLeft(), 10.0);
    QCOMPARE(rect.lonRight(), 20.0);
}

void TestGeoView::geoRectContains_data()
{
    QTest::addColumn<QGV::GeoRect>("rect");
    QTest::addColumn<QGV::GeoPos>("pos");
    QTest::addColumn<bool>("contained");
    const QGV::GeoRect box(50, 10, 40, 20);
    QTest::newRow("inside") << box << QGV::GeoPos(45, 15) << true;
    QTest::newRow("top left corner") << box << QGV::GeoPos(50, 10) << true;
    QTest::newRow("bottom right corner") << box << QGV::GeoPos(40, 20) << false;
    QTest::newRow("bottom edge") << box << QGV::GeoPos(40, 15) << false;
    QTest::newRow("right edge") << box << QGV::GeoPos(45, 20) << false;
    QTest::newRow("north of it") << box << QGV::GeoPos(51, 15) << false;
    QTest::newRow("empty position") << box << QGV::GeoPos() << false;
    QTest::newRow("default rect at origin") << QGV::GeoRect() << QGV::GeoPos(0, 0) << false;
}

void TestGeoView::geoRectContains()
{
    QFETCH(QGV::GeoRect, rect);
    QFETCH(QGV::GeoPos, pos);
    QFETCH(bool, contained);
    QCOMPARE(rect.contains(pos), contained);

    const QGV::GeoRect box(50, 10, 40, 20);
    QVERIFY(box.contains(box));  // rectangles are closed
    QVERIFY(box.contains(QGV::GeoRect(50, 15, 40, 20)));
    QVERIFY(!box.contains(QGV::GeoRect(50, 15, 39, 20)));
    QVERIFY(box.intersects(QGV::GeoRect(40, 20, 30, 30)));  // touching corners
    QVERIFY(!box.intersects(QGV::GeoRect(39, 20, 30, 30)));
    QVERIFY(!box.intersects(QGV::GeoRect()));
    QVERIFY(QGV::GeoRect().isEmpty());
    QVERIFY(!QGV::GeoRect(0, 0, 0, 0).isEmpty());
}

void TestGeoView::projectionRoundTrip_data()
{
    QTest::addColumn<double>("lat");
    QTest::addColumn<double>("lon");
    QTest::addColumn<double>("projY");
    // y = -R ln tan(45 + lat/2); ln tan(75 degrees) = 1.316958
    QTest::newRow("60 north") << 60.0 << 30.0 << -R * 1.3169578969248166;
    QTest::newRow("60 south") << -60.0 << -150.0 << R * 1.3169578969248166;
    QTest::newRow("origin") << 0.0 << 0.0 << 0.0;
}

void TestGeoView::projectionRoundTrip()
{
    QFETCH(double, lat);
    QFETCH(double, lon);
    QFETCH(double, projY);
    const QGVProjection* projection = map->getProjection();
    const QPointF proj = projection->geoToProj(QGV::GeoPos(lat, lon));
    QVERIFY2(qAbs(proj.y() - projY) < 1e-3, qPrintable(QString::number(proj.y(), 'f', 4)));
    QVERIFY(qAbs(proj.x() - R * qDegreesToRadians(lon)) < 1e-6);
    const QGV::GeoPos back = projection->projToGeo(proj);
    QVERIFY(qAbs(back.lat() - lat) < 1e-9);
    QVERIFY(qAbs(back.lon() - lon) < 1e-9);

    const QGV::GeoRect rect(lat + 1, lon - 1, lat - 1, lon + 1);
    const QRectF projRect = projection->geoToProj(rect);
    QVERIFY(projRect.width() > 0 && projRect.height() > 0);  // north is up: top has the smaller y
    const QGV::GeoRect rectBack = projection->projToGeo(projRect);
    QVERIFY(qAbs(rectBack.latTop() - rect.latTop()) < 1e-9);
    QVERIFY(qAbs(rectBack.lonRight() - rect.lonRight()) < 1e-9);
}

void TestGeoView::projectionClampsLatitude()
{
    const QGVProjection* projection = map->getProjection();
    const QPointF at85 = projection->geoToProj(QGV::GeoPos(85, 0));
    QCOMPARE(projection->geoToProj(QGV::GeoPos(89.9, 0)), at85);
    QCOMPARE(projection->geoToProj(QGV::GeoPos(-90, 0)).y(), -at85.y());
    QVERIFY(projection->geoToProj(QGV::GeoPos(84.9, 0)).y() > at85.y());
    QVERIFY(qAbs(projection->projToGeo(at85).lat() - 85.0) < 1e-9);
}

void TestGeoView::scaleToFitsTarget_data()
{
    QTest::addColumn<QRectF>("target");
    QTest::newRow("wide") << QRectF(1e6, -3e6, 4e6, 1e6);
    QTest::newRow("tall") << QRectF(-2e6, 1e6, 1e5, 3e6);
    QTest::newRow("view shaped") << QRectF(0, 0, 4e5, 3e5);
}

void TestGeoView::scaleToFitsTarget()
{
    QFETCH(QRectF, target);
    QGVCameraActions actions(map);
    actions.scaleTo(target);
    map->cameraTo(actions);
    const QGVCameraState camera = map->getCamera();
    const QRectF shown = camera.projRect();
    const double tolerance = 1e-6 * std::max(target.width(), target.height());
    QVERIFY(shown.adjusted(-tolerance, -tolerance, tolerance, tolerance).contains(target));
    const bool widthMatches = qAbs(shown.width() - target.width()) < tolerance;
    const bool heightMatches = qAbs(shown.height() - target.height()) < tolerance;
    QVERIFY(widthMatches || heightMatches);
    QVERIFY(qAbs(camera.projCenter().x() - target.center().x()) < tolerance);

    // A point of no size is as close as the map goes.
    QGVCameraActions point(map);
    point.scaleTo(QRectF(target.center(), QSizeF(0, 0)));
    map->cameraTo(point);
    QCOMPARE(map->getCamera().scale(), QGVMap::maxScale);
}

void TestGeoView::fitBeforeSizeIsAppliedOnShow()
{
    QGVMap hidden;
    const QGV::GeoRect target(10, 10, -10, 30);
    QGVCameraActions actions(&hidden);
    actions.scaleTo(target);
    hidden.cameraTo(actions);
    hidden.resize(500, 250);
    hidden.show();
    QVERIFY(QTest::qWaitForWindowExposed(&hidden));
    const QRectF wanted = hidden.getProjection()->geoToProj(target);
    QTRY_VERIFY(qAbs(hidden.getCamera().projRect().height() - wanted.height()) < 1
                || qAbs(hidden.getCamera().projRect().width() - wanted.width()) < 1);
    QVERIFY(hidden.getCamera().projRect().adjusted(-1, -1, 1, 1).contains(wanted));
}

void TestGeoView::clickGoesToTopmostItem_data()
{
    QTest::addColumn<bool>("topClickable");
    QTest::addColumn<bool>("topSelectable");
    QTest::newRow("clickable top") << true << true;
    QTest::newRow("plain top swallows") << false << false;
}

void TestGeoView::clickGoesToTopmostItem()
{
    QFETCH(bool, topClickable);
    QFETCH(bool, topSelectable);
    auto* bottom = new TestBox(QGV::GeoRect(10, -10, -10, 10), Qt::red);
    bottom->setFlag(QGV::ItemFlag::Clickable);
    auto* top = new TestBox(QGV::GeoRect(5, -5, -5, 5), Qt::blue);
    top->setFlag(QGV::ItemFlag::Clickable, topClickable);
    top->setSelectable(topSelectable);
    map->addItem(bottom);
    map->addItem(top);
    QGVCameraActions fit(map);
    fit.scaleTo(QGV::GeoRect(12, -12, -12, 12));
    map->cameraTo(fit);

    QTest::mouseClick(viewport(), Qt::LeftButton, Qt::NoModifier, viewPos(QGV::GeoPos(0, 0)));
    QCOMPARE(top->clicks, topClickable ? 1 : 0);
    QCOMPARE(top->isSelected(), topSelectable);
    QCOMPARE(bottom->clicks, 0);
    QVERIFY(!bottom->isSelected());

    // Where only the lower item lies, it gets the click.
    QTest::mouseClick(viewport(), Qt::LeftButton, Qt::NoModifier, viewPos(QGV::GeoPos(8, 8)));
    QCOMPARE(bottom->clicks, 1);
    QCOMPARE(map->getSelections(), QList<QGVItem*>{bottom});

    // A drag pans instead of clicking.
    const QPointF centre = map->getCamera().projCenter();
    const QPoint from = viewPos(QGV::GeoPos(8, 8));
    QTest::mousePress(viewport(), Qt::LeftButton, Qt::NoModifier, from);
    QMouseEvent move(QEvent::MouseMove, from + QPoint(40, 0), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(viewport(), &move);
    QTest::mouseRelease(viewport(), Qt::LeftButton, Qt::NoModifier, from + QPoint(40, 0));
    QCOMPARE(bottom->clicks, 1);
    QVERIFY(map->getCamera().projCenter().x() < centre.x());
}

void TestGeoView::ctrlClickToggles()
{
    auto* left = new TestBox(QGV::GeoRect(5, -20, -5, -10), Qt::red);
    auto* right = new TestBox(QGV::GeoRect(5, 10, -5, 20), Qt::blue);
    map->addItem(left);
    map->addItem(right);
    QGVCameraActions fit(map);
    fit.scaleTo(QGV::GeoRect(10, -25, -10, 25));
    map->cameraTo(fit);
    const QPoint leftPos = viewPos(QGV::GeoPos(0, -15));
    const QPoint rightPos = viewPos(QGV::GeoPos(0, 15));

    QTest::mouseClick(viewport(), Qt::LeftButton, Qt::NoModifier, leftPos);
    QTest::mouseClick(viewport(), Qt::LeftButton, Qt::NoModifier, rightPos);
    QCOMPARE(map->getSelections(), QList<QGVItem*>{right});
    QTest::mouseClick(viewport(), Qt::LeftButton, Qt::ControlModifier, leftPos);
    QCOMPARE(map->getSelections(), (QList<QGVItem*>{left, right}));
    QTest::mouseClick(viewport(), Qt::LeftButton, Qt::ControlModifier, rightPos);
    QCOMPARE(map->getSelections(), QList<QGVItem*>{left});
    QTest::mouseClick(viewport(), Qt::LeftButton, Qt::ShiftModifier, rightPos);
    QCOMPARE(map->getSelections().size(), 2);
}

void TestGeoView::doubleClickClearsSelection()
{
    auto* first = new TestBox(QGV::GeoRect(5, -20, -5, -10), Qt::red);
    auto* second = new TestBox(QGV::GeoRect(5, 10, -5, 20), Qt::blue);
    second->setFlag(QGV::ItemFlag::Clickable);
    map->addItem(first);
    map->addItem(second);
    QGVCameraActions fit(map);
    fit.scaleTo(QGV::GeoRect(10, -25, -10, 25));
    map->cameraTo(fit);
    map->select(first);
    map->select(second);
    QCOMPARE(map->getSelections().size(), 2);

    QTest::mouseDClick(viewport(), Qt::LeftButton, Qt::NoModifier, viewPos(QGV::GeoPos(0, 15)));
    QTest::mouseRelease(viewport(), Qt::LeftButton, Qt::NoModifier, viewPos(QGV::GeoPos(0, 15)));
    QVERIFY(map->getSelections().isEmpty());
    QCOMPARE(second->doubleClicks, 1);
}

void TestGeoView::removedItemLeavesNoSelection()
{
    auto* kept = new TestBox(QGV::GeoRect(5, -20, -5, -10), Qt::red);
    auto* removed = new TestBox(QGV::GeoRect(5, 10, -5, 20), Qt::blue);
    auto* deleted = new TestBox(QGV::GeoRect(5, 30, -5, 40), Qt::green);
    map->addItem(kept);
    map->addItem(removed);
    map->addItem(deleted);
    for (QGVItem* item : {kept, removed, deleted})
        map->select(item);

    map->removeItem(removed);
    delete deleted;
    QCOMPARE(map->countItems(), 1);
    QCOMPARE(map->getSelections(), QList<QGVItem*>{kept});
    QVERIFY(!removed->isSelected());
    QVERIFY(removed->getMap() == nullptr);
    QVERIFY(removed->parent() == nullptr);

    // Put back, it goes to the end and comes without its old selection.
    map->addItem(removed);
    QCOMPARE(map->getItem(1), removed);
    QCOMPARE(map->getSelections(), QList<QGVItem*>{kept});

    QPointer<QGVItem> watched(kept);
    map->deleteItems();
    QCOMPARE(map->countItems(), 0);
    QVERIFY(watched.isNull());
}

void TestGeoView::laterItemPaintsAbove()
{
    map->addItem(new TestBox(QGV::GeoRect(10, -10, -10, 10), Qt::red));
    map->addItem(new TestBox(QGV::GeoRect(5, -5, -5, 5), Qt::blue));
    map->addItem(new TestBox(QGV::GeoRect(2, -20, -2, 0), Qt::green));
    QGVCameraActions fit(map);
    fit.scaleTo(QGV::GeoRect(12, -22, -12, 12));
    map->cameraTo(fit);
    const QImage image = map->grab().toImage();
    QCOMPARE(image.pixelColor(viewPos(QGV::GeoPos(0, 3))), QColor(Qt::blue));
    QCOMPARE(image.pixelColor(viewPos(QGV::GeoPos(0, -3))), QColor(Qt::green));
    QCOMPARE(image.pixelColor(viewPos(QGV::GeoPos(8, 8))), QColor(Qt::red));
    QCOMPARE(image.pixelColor(viewPos(QGV::GeoPos(11, 11))), map->geoView()->palette().color(QPalette::Base));
}

void TestGeoView::flagsGateTransforms_data()
{
    QTest::addColumn<int>("flags");
    QTest::addColumn<double>("halfDegrees");
    QTest::newRow("plain") << 0 << 10.0;
    QTest::newRow("transformed") << int(QGV::ItemFlag::Transformed) << 10.0;
    // Ignoring scale, projected units are drawn as pixels: 0.0002 degrees is about 22 units.
    QTest::newRow("ignoring scale") << int(QGV::ItemFlag::IgnoreScale) << 0.0002;
}

void TestGeoView::flagsGateTransforms()
{
    QFETCH(int, flags);
    QFETCH(double, halfDegrees);
    const auto flag = QGV::ItemFlags(flags);
    map->addItem(new TestBox(QGV::GeoRect(halfDegrees, -halfDegrees, -halfDegrees, halfDegrees), Qt::red));
    map->getItem(0)->setFlags(flag);
    QGVCameraActions fit(map);
    fit.scaleTo(QGV::GeoRect(3 * halfDegrees, -3 * halfDegrees, -3 * halfDegrees, 3 * halfDegrees));
    map->cameraTo(fit);
    const QPoint centre = viewPos(QGV::GeoPos(0, 0));
    // How far red reaches right of the centre.
    const auto redReach = [&] {
        const QImage image = map->grab().toImage();
        int x = centre.x();
        while (x < image.width() && image.pixelColor(x, centre.y()) == QColor(Qt::red))
            ++x;
        return x - centre.x();
    };

    double expected = viewPos(QGV::GeoPos(0, halfDegrees)).x() - centre.x();
    if (flag & QGV::ItemFlag::Transformed)
        expected *= std::sqrt(2.0);  // turned by 45 degrees, the corner lies on the axis
    if (flag & QGV::ItemFlag::IgnoreScale)
        expected = map->getProjection()->geoToProj(QGV::GeoPos(0, halfDegrees)).x();
    QVERIFY2(qAbs(redReach() - expected) <= 2, qPrintable(QStringLiteral("%1 %2").arg(redReach()).arg(expected)));

    QGVCameraActions zoom(map);
    zoom.scaleTo(map->getCamera().scale() * 2);
    map->cameraTo(zoom);
    if (!(flag & QGV::ItemFlag::IgnoreScale))
        expected *= 2;
    QVERIFY2(qAbs(redReach() - expected) <= 2, qPrintable(QStringLiteral("%1 %2").arg(redReach()).arg(expected)));
}

void TestGeoView::widgetAnchors_data()
{
    QTest::addColumn<QList<int>>("edges");
    QTest::addColumn<QPoint>("expected");  // for a 400 x 300 map and a 100 x 20 widget
    QTest::newRow("left top") << QList<int>{Qt::LeftEdge, Qt::TopEdge} << QPoint(30, 60);
    QTest::newRow("right bottom") << QList<int>{Qt::RightEdge, Qt::BottomEdge} << QPoint(270, 220);
    QTest::newRow("centred") << QList<int>{} << QPoint(180, 200);
    QTest::newRow("top, centred across") << QList<int>{Qt::TopEdge} << QPoint(180, 60);
}

void TestGeoView::widgetAnchors()
{
    QFETCH(QList<int>, edges);
    QFETCH(QPoint, expected);
    QSet<Qt::Edge> edgeSet;
    for (int edge : edges)
        edgeSet.insert(Qt::Edge(edge));
    auto* widget = new QGVWidgetText;
    map->addWidget(widget);
    widget->setText(QStringLiteral("Message"));
    widget->setFixedSize(100, 20);
    widget->setAnchor(QPoint(30, 60), edgeSet);
    QCOMPARE(widget->pos(), expected);
    QVERIFY(widget->testAttribute(Qt::WA_TransparentForMouseEvents));
    QCOMPARE(widget->getText(), QStringLiteral("Message"));

    // It follows the map's size.
    map->resize(600, 300);
    QTRY_COMPARE(map->width(), 600);
    if (edgeSet.contains(Qt::RightEdge))
        QCOMPARE(widget->x(), 600 - 100 - 30);
    else if (!edgeSet.contains(Qt::LeftEdge))
        QCOMPARE(widget->x(), (600 - 100) / 2 + 30);
}

QTEST_MAIN(TestGeoView)
#include "tst_geoview.moc"
