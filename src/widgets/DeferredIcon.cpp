#include "DeferredIcon.h"

#include <QIconEngine>
#include <QPainter>

namespace {

// Holds the file list and builds the ordinary icon from it on first use; everything after that is the
// ordinary icon's own behaviour (size matching, disabled and selected variants, high-DPI partners).
class DeferredIconEngine final : public QIconEngine
{
public:
    explicit DeferredIconEngine(QList<std::pair<QString, QSize>> files) : m_files(std::move(files)) {}

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
    bool isNull() override { return m_files.isEmpty(); }
    QString key() const override { return QStringLiteral("DeferredIconEngine"); }
    QIconEngine *clone() const override { return new DeferredIconEngine(*this); }

private:
    const QIcon &icon()
    {
        if (!m_loaded) {
            m_loaded = true;
            for (const auto &[file, size] : m_files)
                m_icon.addFile(file, size);
        }
        return m_icon;
    }

    QList<std::pair<QString, QSize>> m_files;
    QIcon m_icon;
    bool m_loaded = false;
};

} // namespace

QIcon DeferredIcon(const QList<std::pair<QString, QSize>> &files)
{
    return QIcon(new DeferredIconEngine(files));
}

QIcon DeferredIcon(const QString &file)
{
    return DeferredIcon({{file, QSize()}});
}
