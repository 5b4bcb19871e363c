#pragma once

#include "map/geoview/qgvwidget.h"

class QLabel;

// A line of plain text over the map, on a light box so that it stays legible over items.
class QGVWidgetText : public QGVWidget
{
    Q_OBJECT

public:
    explicit QGVWidgetText(QWidget* parent = nullptr);

    void setText(const QString& text);
    QString getText() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QLabel* label;
};
