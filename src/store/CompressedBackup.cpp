#include "CompressedBackup.h"

#include "store/StoreError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <QUuid>

#include <zstd.h>

#include <algorithm>
#include <memory>
#include <thread>
#include <unistd.h>

namespace {

// A skippable frame's magic number (any of 0x184D2A50..5F), then our own mark and version.
constexpr quint32 skippableMagic = 0x184D2A5B;
const QByteArray mark = QByteArrayLiteral("LKB1");
constexpr int hashSize = 32;
constexpr int payloadSize = 4 + 8 + hashSize + 8 + 8 + 8;
constexpr int headerSize = 8 + payloadSize;
// zstd's own advice on a quick level that still packs text well.
constexpr int level = 3;
constexpr qint64 chunkSize = 1 << 20;
// Room kept free on the disk beyond the unpacked copy itself.
constexpr qint64 spareBytes = 16 << 20;

void putLE(QByteArray *out, quint64 value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out->append(char((value >> (8 * i)) & 0xFF));
}

quint64 getLE(const QByteArray &in, int at, int bytes)
{
    quint64 value = 0;
    for (int i = bytes - 1; i >= 0; --i)
        value = (value << 8) | quint8(in.at(at + i));
    return value;
}

QByteArray header(qint64 plainSize, const QByteArray &hash, const CompressedBackup::Header &counts)
{
    QByteArray out;
    putLE(&out, skippableMagic, 4);
    putLE(&out, payloadSize, 4);
    out += mark;
    putLE(&out, quint64(plainSize), 8);
    out += hash.leftJustified(hashSize, '\0', true);
    putLE(&out, quint64(counts.Games), 8);
    putLE(&out, quint64(counts.Files), 8);
    putLE(&out, quint64(counts.FileSize), 8);
    return out;
}

ErrObject damaged(const QString &path, const QString &why)
{
    return {ErrNumber::StoreDamaged,
            QStringLiteral("The backup \"%1\" is damaged: %2.").arg(QDir::toNativeSeparators(path), why)};
}

bool volatileHeaderByte(qint64 offset)
{
    return (offset >= 18 && offset <= 19) || (offset >= 24 && offset <= 27) || (offset >= 40 && offset <= 43) ||
           (offset >= 92 && offset <= 99);
}

struct FreeCCtx
{
    void operator()(ZSTD_CCtx *c) const { ZSTD_freeCCtx(c); }
};
struct FreeDCtx
{
    void operator()(ZSTD_DCtx *d) const { ZSTD_freeDCtx(d); }
};

} // namespace

namespace CompressedBackup {

bool IsCompressed(const QString &path)
{
    return path.endsWith(Suffix);
}

void StoreHash::add(QByteArray chunk)
{
    for (qint64 i = 0; m_done + i < 100 && i < chunk.size(); ++i)
        if (volatileHeaderByte(m_done + i))
            chunk[i] = '\0';
    m_done += chunk.size();
    m_hash.addData(chunk);
}

bool Compress(const QString &plain, const QString &target, const Header &counts, const Progress &progress,
              bool *stopped, ErrObject *err)
{
    QFile in(plain);
    QFile out(target);
    if (!StoreError::openForCopy(&in, &out, err))
        return false;
    const qint64 total = in.size();
    const auto fail = [&](const ErrObject &e) {
        *err = e;
        out.close();
        QFile::remove(target);
        return false;
    };
    const auto writeFailed = [&] {
        return fail(StoreError::fileFailed(QStringLiteral("write"), target, out.errorString()));
    };
    // The header's place is kept; its hash is known only at the end.
    if (out.write(header(total, {}, counts)) != headerSize)
        return writeFailed();

    std::unique_ptr<ZSTD_CCtx, FreeCCtx> cctx(ZSTD_createCCtx());
    ZSTD_CCtx_setParameter(cctx.get(), ZSTD_c_compressionLevel, level);
    ZSTD_CCtx_setParameter(cctx.get(), ZSTD_c_checksumFlag, 1);
    // Workers help on a large store and cost nothing when the library was built without them.
    const int workers = int(std::min(4u, std::thread::hardware_concurrency()));
    if (workers > 1)
        ZSTD_CCtx_setParameter(cctx.get(), ZSTD_c_nbWorkers, workers);
    ZSTD_CCtx_setPledgedSrcSize(cctx.get(), quint64(total));

    StoreHash hash;
    QByteArray buffer(int(ZSTD_CStreamOutSize()), Qt::Uninitialized);
    qint64 done = 0;
    bool last = false;
    while (!last) {
        const QByteArray chunk = in.read(chunkSize);
        if (in.error() != QFile::NoError)
            return fail(StoreError::fileFailed(QStringLiteral("read"), plain, in.errorString()));
        hash.add(chunk);
        done += chunk.size();
        last = chunk.isEmpty() || done >= total;
        ZSTD_inBuffer input{chunk.constData(), size_t(chunk.size()), 0};
        const ZSTD_EndDirective mode = last ? ZSTD_e_end : ZSTD_e_continue;
        for (bool finished = false; !finished;) {
            ZSTD_outBuffer output{buffer.data(), size_t(buffer.size()), 0};
            const size_t left = ZSTD_compressStream2(cctx.get(), &output, &input, mode);
            if (ZSTD_isError(left))
                return fail({ErrNumber::PathFileAccess, QStringLiteral("The backup could not be compressed: %1.")
                                                            .arg(QString::fromUtf8(ZSTD_getErrorName(left)))});
            if (out.write(buffer.constData(), qint64(output.pos)) != qint64(output.pos))
                return writeFailed();
            finished = last ? left == 0 : input.pos == input.size;
        }
        if (progress && !progress(done, total)) {
            *stopped = true;
            out.close();
            QFile::remove(target);
            return false;
        }
    }
    CompressedBackup::Header whole = counts;
    whole.FileSize = out.pos();
    if (!out.seek(0) || out.write(header(done, hash.result(), whole)) != headerSize || !out.flush() ||
        ::fsync(out.handle()) != 0)
        return writeFailed();
    out.close();
    return true;
}

bool ReadHeader(const QString &path, Header *result, ErrObject *err)
{
    QFile in(path);
    if (!in.open(QIODevice::ReadOnly)) {
        *err = StoreError::fileFailed(QStringLiteral("read"), path, in.errorString());
        return false;
    }
    const QByteArray bytes = in.read(headerSize);
    if (bytes.size() < headerSize || getLE(bytes, 0, 4) != skippableMagic || getLE(bytes, 4, 4) != payloadSize ||
        bytes.mid(8, 4) != mark) {
        *err = damaged(path, QStringLiteral("it is not a compressed Lorekeep backup"));
        return false;
    }
    result->PlainSize = qint64(getLE(bytes, 12, 8));
    result->Hash = bytes.mid(20, hashSize);
    result->Games = qint64(getLE(bytes, 20 + hashSize, 8));
    result->Files = qint64(getLE(bytes, 28 + hashSize, 8));
    result->FileSize = qint64(getLE(bytes, 36 + hashSize, 8));
    if (result->FileSize != in.size()) {
        *err = damaged(path, QStringLiteral("it ends part-way"));
        return false;
    }
    return true;
}

bool Expand(const QString &path, const QString &plain, const Progress &progress, bool *stopped, ErrObject *err)
{
    Header head;
    if (!ReadHeader(path, &head, err))
        return false;
    const QStorageInfo disk(QFileInfo(plain).absolutePath());
    if (disk.isValid() && disk.bytesAvailable() >= 0 && disk.bytesAvailable() < head.PlainSize + spareBytes) {
        *err = {ErrNumber::PathFileAccess,
                QStringLiteral("The backup \"%1\" cannot be opened: unpacked it needs %L2 MB on the disk, and only "
                               "%L3 MB are free.")
                    .arg(QDir::toNativeSeparators(path))
                    .arg((head.PlainSize + spareBytes) >> 20)
                    .arg(disk.bytesAvailable() >> 20)};
        return false;
    }
    QFile in(path);
    QFile out(plain);
    if (!StoreError::openForCopy(&in, &out, err))
        return false;
    const auto fail = [&](const ErrObject &e) {
        *err = e;
        out.close();
        QFile::remove(plain);
        return false;
    };
    std::unique_ptr<ZSTD_DCtx, FreeDCtx> dctx(ZSTD_createDCtx());
    QByteArray buffer(int(ZSTD_DStreamOutSize()), Qt::Uninitialized);
    qint64 written = 0;
    size_t pending = 1;
    bool any = false;
    for (;;) {
        const QByteArray chunk = in.read(chunkSize);
        if (in.error() != QFile::NoError)
            return fail(StoreError::fileFailed(QStringLiteral("read"), path, in.errorString()));
        if (chunk.isEmpty())
            break;
        ZSTD_inBuffer input{chunk.constData(), size_t(chunk.size()), 0};
        while (input.pos < input.size) {
            ZSTD_outBuffer output{buffer.data(), size_t(buffer.size()), 0};
            pending = ZSTD_decompressStream(dctx.get(), &output, &input);
            if (ZSTD_isError(pending))
                return fail(damaged(path, QString::fromUtf8(ZSTD_getErrorName(pending)).toLower()));
            // More than the header promised is not the copy that was made.
            if (written + qint64(output.pos) > head.PlainSize)
                return fail(damaged(path, QStringLiteral("it holds more than it was made with")));
            if (out.write(buffer.constData(), qint64(output.pos)) != qint64(output.pos))
                return fail(StoreError::fileFailed(QStringLiteral("write"), plain, out.errorString()));
            written += qint64(output.pos);
            any = true;
        }
        if (progress && !progress(written, head.PlainSize)) {
            *stopped = true;
            out.close();
            QFile::remove(plain);
            return false;
        }
    }
    if (!any || pending != 0 || written != head.PlainSize)
        return fail(damaged(path, QStringLiteral("it ends part-way")));
    if (!out.flush())
        return fail(StoreError::fileFailed(QStringLiteral("write"), plain, out.errorString()));
    out.close();
    return true;
}

QByteArray HashFile(const QString &path, const Progress &progress, bool *stopped)
{
    QFile in(path);
    if (!in.open(QIODevice::ReadOnly))
        return {};
    const qint64 total = in.size();
    StoreHash hash;
    for (qint64 done = 0; done < total;) {
        const QByteArray chunk = in.read(chunkSize);
        if (chunk.isEmpty())
            return {};
        hash.add(chunk);
        done += chunk.size();
        if (progress && !progress(done, total)) {
            *stopped = true;
            return {};
        }
    }
    return hash.result();
}

Readable::~Readable()
{
    if (!m_temporary.isEmpty())
        QFile::remove(m_temporary);
}

bool Readable::open(const QString &backup, const Progress &progress, bool *stopped, ErrObject *err)
{
    m_backup = backup;
    if (!CompressedBackup::IsCompressed(backup)) {
        m_path = backup;
        return true;
    }
    const QString temporary =
        backup + QStringLiteral(".read-%1.part").arg(QUuid::createUuid().toString(QUuid::Id128).left(8));
    // Unpacking has no count the caller's bar could use for its own stage; it shows as busy.
    const Progress busy = [&progress](qint64 done, qint64) {
        return !progress || progress(done, 0);
    };
    if (!Expand(backup, temporary, busy, stopped, err))
        return false;
    m_temporary = temporary;
    m_path = temporary;
    return true;
}

bool SameStore(const QString &first, const QString &second, const Progress &progress, bool *stopped)
{
    QFile a(first);
    QFile b(second);
    if (!a.open(QIODevice::ReadOnly) || !b.open(QIODevice::ReadOnly) || a.size() != b.size())
        return false;
    const qint64 total = a.size();
    constexpr qint64 chunk = 1 << 20;
    for (qint64 done = 0; done < total;) {
        QByteArray left = a.read(chunk);
        QByteArray right = b.read(chunk);
        if (left.size() != right.size() || left.isEmpty())
            return false;
        if (done == 0) {
            for (qint64 i = 0; i < std::min<qint64>(100, left.size()); ++i)
                if (volatileHeaderByte(i))
                    left[i] = right[i];
        }
        if (left != right)
            return false;
        done += left.size();
        if (progress && !progress(done, total)) {
            *stopped = true;
            return false;
        }
    }
    return true;
}

} // namespace CompressedBackup
