#include "FindPack.h"

#include <zdict.h>
#include <zstd.h>

#include <mutex>
#include <vector>

namespace {

// Quick to pack and about as tight as the slow levels on texts of a few kilobytes.
constexpr int level = 3;
// zstd's own advice for a dictionary: about a hundred times smaller than what it learns from.
constexpr size_t dictionaryCapacity = 112640;
// A field text's lengths come first, four bytes each.
constexpr int lengthsSize = 8;
// No text of a store unpacks to more than this; a frame that says so is damaged.
constexpr unsigned long long largestText = 1ull << 30;

void putLength(QByteArray *out, quint32 value)
{
    for (int i = 0; i < 4; ++i)
        out->append(char((value >> (8 * i)) & 0xFF));
}

quint32 getLength(const char *in)
{
    quint32 value = 0;
    for (int i = 3; i >= 0; --i)
        value = (value << 8) | quint8(in[i]);
    return value;
}

struct CCtxFree
{
    void operator()(ZSTD_CCtx *context) const { ZSTD_freeCCtx(context); }
};

} // namespace

struct FindDictionary::Parts
{
    QByteArray bytes;
    quint32 id = 0;
    // Made when first packed with: a search only unpacks, and a packing dictionary costs its
    // making at every search otherwise.
    std::once_flag packMade;
    std::shared_ptr<const FindGrams::Seams> commonSeams;
    ZSTD_CDict *pack = nullptr;
    ZSTD_DDict *unpack = nullptr;
    ~Parts()
    {
        ZSTD_freeCDict(pack);
        ZSTD_freeDDict(unpack);
    }
};

FindDictionary::FindDictionary(std::unique_ptr<Parts> parts) : m_parts(std::move(parts)) {}

FindDictionary::~FindDictionary() = default;

std::shared_ptr<const FindDictionary> FindDictionary::FromBytes(const QByteArray &bytes,
                                                                std::shared_ptr<const FindGrams::Seams> commonSeams)
{
    const quint32 id = ZDICT_getDictID(bytes.constData(), size_t(bytes.size()));
    if (id == 0)
        return nullptr;
    auto parts = std::make_unique<Parts>();
    parts->bytes = bytes;
    parts->id = id;
    parts->commonSeams = std::move(commonSeams);
    parts->unpack = ZSTD_createDDict(bytes.constData(), size_t(bytes.size()));
    if (!parts->unpack)
        return nullptr;
    return std::shared_ptr<const FindDictionary>(new FindDictionary(std::move(parts)));
}

std::shared_ptr<const FindDictionary> FindDictionary::Learn(const QList<QByteArray> &samples)
{
    QByteArray joined;
    std::vector<size_t> sizes;
    QList<FindGrams::Joined> fields;
    for (const QByteArray &sample : samples) {
        if (sample.isEmpty())
            continue;
        joined += sample;
        sizes.push_back(size_t(sample.size()));
        FindGrams::Joined split;
        if (FindPack::Split(sample, &split))
            fields.append(split);
    }
    // Fewer than this teach a dictionary nothing that zstd alone does not know.
    if (sizes.size() < 100 || size_t(joined.size()) < 16 * dictionaryCapacity)
        return nullptr;
    QByteArray dictionary(qsizetype(dictionaryCapacity), Qt::Uninitialized);
    const size_t size = ZDICT_trainFromBuffer(dictionary.data(), dictionaryCapacity, joined.constData(), sizes.data(),
                                              unsigned(sizes.size()));
    if (ZDICT_isError(size))
        return nullptr;
    dictionary.truncate(qsizetype(size));
    return FromBytes(dictionary, FindGrams::Seams::Common(fields));
}

quint32 FindDictionary::Id() const
{
    return m_parts->id;
}

const QByteArray &FindDictionary::Bytes() const
{
    return m_parts->bytes;
}

const FindGrams::Seams *FindDictionary::CommonSeams() const
{
    return m_parts->commonSeams.get();
}

QByteArray FindPack::Fields(QStringView desc, QStringView src, QStringView body)
{
    const QByteArray d = desc.toUtf8(), s = src.toUtf8(), b = body.toUtf8();
    QByteArray out;
    out.reserve(lengthsSize + d.size() + s.size() + b.size() + 2);
    putLength(&out, quint32(d.size()));
    putLength(&out, quint32(s.size()));
    out += d;
    out += ' ';
    out += s;
    out += ' ';
    out += b;
    return out;
}

QByteArray FindPack::Pack(const QByteArray &fields, const FindDictionary *dictionary)
{
    thread_local std::unique_ptr<ZSTD_CCtx, CCtxFree> context(ZSTD_createCCtx());
    QByteArray out(qsizetype(ZSTD_compressBound(size_t(fields.size()))), Qt::Uninitialized);
    ZSTD_CDict *packing = nullptr;
    if (dictionary) {
        FindDictionary::Parts &parts = *dictionary->m_parts;
        std::call_once(parts.packMade, [&parts] {
            parts.pack = ZSTD_createCDict(parts.bytes.constData(), size_t(parts.bytes.size()), level);
        });
        packing = parts.pack;
    }
    const size_t size = packing ? ZSTD_compress_usingCDict(context.get(), out.data(), size_t(out.size()),
                                                           fields.constData(), size_t(fields.size()), packing)
                                : ZSTD_compressCCtx(context.get(), out.data(), size_t(out.size()), fields.constData(),
                                                    size_t(fields.size()), level);
    // Packing into a buffer of the bound's size fails only when memory runs out.
    if (ZSTD_isError(size))
        return {};
    out.truncate(qsizetype(size));
    return out;
}

bool FindPack::Split(QByteArrayView fields, FindGrams::Joined *joined)
{
    if (fields.size() < lengthsSize + 2)
        return false;
    const quint32 descSize = getLength(fields.constData()), srcSize = getLength(fields.constData() + 4);
    const size_t all = size_t(fields.size()) - lengthsSize;
    if (quint64(descSize) + srcSize + 2 > all)
        return false;
    *joined = {std::string_view(fields.constData() + lengthsSize, all), descSize, srcSize};
    return true;
}

struct FindUnpacker::Context
{
    ZSTD_DCtx *context = ZSTD_createDCtx();
    ~Context() { ZSTD_freeDCtx(context); }
};

FindUnpacker::FindUnpacker(std::shared_ptr<const FindDictionary> dictionary)
    : m_dictionary(std::move(dictionary)), m_context(std::make_unique<Context>())
{}

FindUnpacker::~FindUnpacker() = default;

bool FindUnpacker::Unpack(QByteArrayView packed)
{
    m_desc = m_src = m_body = m_all = {};
    const unsigned long long size = ZSTD_getFrameContentSize(packed.constData(), size_t(packed.size()));
    if (size == ZSTD_CONTENTSIZE_UNKNOWN || size == ZSTD_CONTENTSIZE_ERROR || size > largestText ||
        size < lengthsSize + 2 || !m_context->context)
        return false;
    const quint32 wanted = ZSTD_getDictID_fromFrame(packed.constData(), size_t(packed.size()));
    if (wanted != 0 && (!m_dictionary || m_dictionary->Id() != wanted))
        return false;
    if (m_capacity < size) {
        m_capacity = std::max<size_t>(size_t(size), std::min<size_t>(2 * m_capacity, largestText));
        m_buffer.reset(new char[m_capacity]);
    }
    const size_t got =
        wanted != 0 ? ZSTD_decompress_usingDDict(m_context->context, m_buffer.get(), size_t(size), packed.constData(),
                                                 size_t(packed.size()), m_dictionary->m_parts->unpack)
                    : ZSTD_decompressDCtx(m_context->context, m_buffer.get(), size_t(size), packed.constData(),
                                          size_t(packed.size()));
    if (ZSTD_isError(got) || got != size)
        return false;
    FindGrams::Joined joined;
    if (!FindPack::Split(QByteArrayView(m_buffer.get(), qsizetype(size)), &joined))
        return false;
    m_all = joined.all;
    m_desc = m_all.substr(0, joined.descSize);
    m_src = m_all.substr(joined.descSize + 1, joined.srcSize);
    m_body = m_all.substr(joined.descSize + joined.srcSize + 2);
    return true;
}
