// Renders the application icon's SVG to a square PNG of the given size, at
// build time, so the icon theme gets sharp bitmaps beside the SVG.
//   quillmarsh-render-icon SOURCE.svg SIZE OUTPUT.png
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <QTextStream>

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    bool sizeOk = false;
    const int size = argc == 4 ? QString::fromLocal8Bit(argv[2]).toInt(&sizeOk) : 0;
    if (!sizeOk || size <= 0 || size > 1024) {
        QTextStream(stderr) << "usage: quillmarsh-render-icon SOURCE.svg SIZE OUTPUT.png" << Qt::endl;
        return 2;
    }
    QSvgRenderer svg(QString::fromLocal8Bit(argv[1]));
    if (!svg.isValid())
        return 1;
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    svg.render(&painter);
    painter.end();
    return image.save(QString::fromLocal8Bit(argv[3]), "PNG") ? 0 : 1;
}
