// Pictures of windows, and sheets of many of them.
#pragma once

#include <QImage>
#include <QList>
#include <QString>

struct Picture {
    QString name;
    QImage image; // in device pixels
};

// What the widget shows, below a title bar if the window has one.
[[nodiscard]] QImage pictureOf(QWidget& window);
// Puts the pictures beside and below each other under their names, as many to a sheet as there is room for.
[[nodiscard]] QList<QImage> contactSheets(const QList<Picture>& pictures);
