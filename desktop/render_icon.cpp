// Renders Quillmont's icon (SVG) as PNG files of the hicolor theme's sizes, at build time:
//   render_icon <icon.svg> <hicolor folder> <name> <size>...
// writes <hicolor folder>/<size>x<size>/apps/<name>.png for each size.
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = QGuiApplication::arguments();
    if (args.size() < 5) {
        std::fprintf(stderr, "usage: render_icon <icon.svg> <hicolor folder> <name> <size>...\n");
        return 2;
    }
    QSvgRenderer svg(args[1]);
    if (!svg.isValid()) {
        std::fprintf(stderr, "render_icon: %s is no SVG picture\n", qPrintable(args[1]));
        return 1;
    }
    for (const QString& text : args.mid(4)) {
        bool ok = false;
        const int size = text.toInt(&ok);
        if (!ok || size <= 0 || size > 1024) {
            std::fprintf(stderr, "render_icon: %s is no icon size\n", qPrintable(text));
            return 2;
        }
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        svg.render(&painter);
        painter.end();
        const QString folder = args[2] + QStringLiteral("/%1x%1/apps").arg(size);
        const QString file = folder + u'/' + args[3] + QStringLiteral(".png");
        if (!QDir().mkpath(folder) || !image.save(file, "PNG")) {
            std::fprintf(stderr, "render_icon: cannot write %s\n", qPrintable(file));
            return 1;
        }
    }
    return 0;
}
