#include "map/geoview/qgvwidgettext.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>

QGVWidgetText::QGVWidgetText(QWidget* parent)
    : QGVWidget(parent)
    , label(new QLabel(this))
{
    label->setTextFormat(Qt::PlainText);
    label->setAttribute(Qt::WA_TransparentForMouseEvents);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(6, 3, 6, 3);
    layout->addWidget(label);
}

void QGVWidgetText::setText(const QString& text)
{
    label->setText(text);
    adjustSize();
    update();
}

QString QGVWidgetText::getText() const
{
    return label->text();
}

void QGVWidgetText::paintEvent(QPaintEvent*)
{
    if (label->text().isEmpty())
        return;
    QPainter painter(this);
    painter.fillRect(rect(), QColor(255, 255, 255, 210));
}
