// For the build: writes down the outlines that a drawing of one colour fills, in a square of one unit, so that the
// application needs neither a reader of drawings nor pens. Usage: record-symbol DRAWING.svg RECORD
#include <QDataStream>
#include <QFile>
#include <QPaintEngine>
#include <QPainter>
#include <QPainterPath>
#include <QSvgRenderer>

#include <cstdio>

namespace {

// Painted on, it keeps outlines.
class Outlines final : public QPaintEngine {
public:
    Outlines() : QPaintEngine(AllFeatures) {}

    QList<QPainterPath> paths;

private:
    bool begin(QPaintDevice *) override { return true; }
    bool end() override { return true; }
    Type type() const override { return User; }
    void updateState(const QPaintEngineState &) override {}
    void drawPixmap(const QRectF &, const QPixmap &, const QRectF &) override {}
    void drawPath(const QPainterPath &path) override {
        const auto place = painter()->combinedTransform();
        if (painter()->brush() != Qt::NoBrush)
            paths += place.map(path);
        if (painter()->pen() == Qt::NoPen)
            return;
        paths += place.map(QPainterPathStroker(painter()->pen()).createStroke(path));
    }
};

class Sheet final : public QPaintDevice {
public:
    explicit Sheet(QPaintEngine *outlines) : m_outlines(outlines) {}

private:
    QPaintEngine *paintEngine() const override { return m_outlines; }
    int metric(PaintDeviceMetric what) const override {
        return what == PdmWidth || what == PdmHeight ? 1 : QPaintDevice::metric(what);
    }

    QPaintEngine *m_outlines;
};

int complain(const char *file, const char *what) {
    std::fprintf(stderr, "%s: %s\n", file, what);
    return 1;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3)
        return complain("record-symbol", "wants a drawing and where to write");
    QFile source(QFile::decodeName(argv[1]));
    QSvgRenderer drawing;
    // Its colour is the affair of whoever shows it.
    if (!source.open(QFile::ReadOnly) || !drawing.load(source.readAll().replace("currentColor", "black")))
        return complain(argv[1], "no drawing");
    Outlines outlines;
    Sheet sheet(&outlines);
    QPainter painter(&sheet);
    drawing.render(&painter, QRectF(0, 0, 1, 1));
    painter.end();
    QFile record(QFile::decodeName(argv[2]));
    if (outlines.paths.isEmpty() || !record.open(QFile::WriteOnly))
        return complain(argv[2], "not written");
    QDataStream stream(&record);
    stream << outlines.paths;
    return stream.status() == QDataStream::Ok && record.flush() ? 0 : complain(argv[2], "not written");
}
