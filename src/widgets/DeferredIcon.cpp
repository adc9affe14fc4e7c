#include "DeferredIcon.h"

#include <QApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPointer>
#include <QWidget>

#include <functional>

namespace {

// Holds how to make the ordinary icon and makes it on first use; everything after that is the
// ordinary icon's own behaviour (size matching, disabled and selected variants, high-DPI partners).
class DeferredIconEngine final : public QIconEngine
{
public:
    DeferredIconEngine(std::function<QIcon()> make, bool null) : m_make(std::move(make)), m_null(null) {}

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override
    {
        icon().paint(painter, rect, Qt::AlignCenter, mode, state);
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        // The caller scales for the screen itself; the inner icon must not do it a second time.
        return icon().pixmap(size, 1.0, mode, state);
    }
    QSize actualSize(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        return icon().actualSize(size, mode, state);
    }
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override
    {
        return icon().availableSizes(mode, state);
    }
    bool isNull() override { return m_null; }
    QString key() const override { return QStringLiteral("DeferredIconEngine"); }
    QIconEngine *clone() const override { return new DeferredIconEngine(*this); }

private:
    const QIcon &icon()
    {
        if (!m_loaded) {
            m_loaded = true;
            m_icon = m_make();
        }
        return m_icon;
    }

    std::function<QIcon()> m_make;
    bool m_null;
    QIcon m_icon;
    bool m_loaded = false;
};

} // namespace

QIcon DeferredIcon(const QList<std::pair<QString, QSize>> &files)
{
    return QIcon(new DeferredIconEngine(
        [files] {
            QIcon icon;
            for (const auto &[file, size] : files)
                icon.addFile(file, size);
            return icon;
        },
        files.isEmpty()));
}

QIcon DeferredIcon(const QString &file)
{
    return DeferredIcon({{file, QSize()}});
}

QIcon DeferredStandardIcon(QStyle::StandardPixmap which, const QWidget *widget)
{
    const QPointer<const QWidget> source(widget);
    return QIcon(new DeferredIconEngine(
        [source, which] { return (source ? source->style() : QApplication::style())->standardIcon(which); }, false));
}
