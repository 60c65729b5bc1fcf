#include "console/screenshots/contact_sheet.h"

#include <QApplication>
#include <QFontMetrics>
#include <QPainter>
#include <QPixmap>
#include <QWidget>

namespace {

constexpr int kTitleHeight = 28;
constexpr int kSheetWidth = 1680;
constexpr int kSheetHeight = 1660;
constexpr int kGap = 10;
constexpr int kNameHeight = 20;

QPixmap withTitle(const QPixmap& content, const QString& title)
{
    const qreal ratio = content.devicePixelRatio();
    const QSizeF size = QSizeF(content.size()) / ratio;
    QPixmap framed(((size + QSizeF(2, kTitleHeight + 1)) * ratio).toSize());
    framed.setDevicePixelRatio(ratio);
    const QPalette palette = QApplication::palette();
    framed.fill(palette.color(QPalette::Mid));
    QPainter painter(&framed);
    const QRectF bar(1, 1, size.width(), kTitleHeight - 2);
    painter.fillRect(bar, palette.color(QPalette::Midlight));
    QFont font = QApplication::font();
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(palette.color(QPalette::WindowText));
    painter.drawText(bar, Qt::AlignCenter, QFontMetrics(font).elidedText(title, Qt::ElideRight, qRound(bar.width())));
    painter.drawPixmap(QPointF(1, kTitleHeight), content);
    return framed;
}

// Sheets of windows at twice the size show them at the usual one.
QImage shrunk(const QImage& image)
{
    const qreal ratio = image.devicePixelRatio();
    QImage flat = image;
    flat.setDevicePixelRatio(1);
    if (ratio > 1)
        flat = flat.scaled((QSizeF(flat.size()) / ratio).toSize(), Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return flat.width() > kSheetWidth - 2 * kGap ? flat.scaledToWidth(kSheetWidth - 2 * kGap, Qt::SmoothTransformation)
                                                 : flat;
}

// Fills a sheet from the left to the right, row by row.
class Sheet {
public:
    Sheet() : _image(kSheetWidth, kSheetHeight, QImage::Format_RGB32) { _image.fill(QColor(0x5c, 0x6b, 0x7a)); }

    // False when there is no room left for it.
    bool add(const QString& name, const QImage& image)
    {
        if (_x + image.width() + kGap > kSheetWidth) {
            _x = kGap;
            _y += _rowHeight;
            _rowHeight = 0;
        }
        const int height = image.height() + kNameHeight + kGap;
        if (_y + height > kSheetHeight && !_isEmpty)
            return false;
        QPainter painter(&_image);
        painter.setPen(Qt::white);
        painter.drawText(QRect(_x, _y, qMax(image.width(), 200), kNameHeight), Qt::AlignLeft | Qt::AlignVCenter, name);
        painter.drawImage(_x, _y + kNameHeight, image);
        _x += image.width() + kGap;
        _rowHeight = qMax(_rowHeight, height);
        _isEmpty = false;
        return true;
    }
    [[nodiscard]] QImage image() const { return _image.copy(0, 0, kSheetWidth, qMin(kSheetHeight, _y + _rowHeight)); }

private:
    QImage _image;
    int _x = kGap;
    int _y = 0;
    int _rowHeight = 0;
    bool _isEmpty = true;
};

} // namespace

QImage pictureOf(QWidget& window)
{
    const QPixmap content = window.grab();
    const bool hasTitle = window.windowType() != Qt::Popup;
    return (hasTitle ? withTitle(content, window.windowTitle()) : content).toImage();
}

QList<QImage> contactSheets(const QList<Picture>& pictures)
{
    QList<QImage> sheets;
    Sheet sheet;
    for (const Picture& picture : pictures) {
        const QImage image = shrunk(picture.image);
        if (sheet.add(picture.name, image))
            continue;
        sheets.append(sheet.image());
        sheet = Sheet();
        (void)sheet.add(picture.name, image);
    }
    if (!pictures.isEmpty())
        sheets.append(sheet.image());
    return sheets;
}
