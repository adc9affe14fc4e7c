#pragma once

#include "FindGrams.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QStringView>

#include <memory>
#include <string>
#include <string_view>

// A file's searched fields as the search index keeps them: description, source and plain text in
// UTF-8, joined by one blank as Find joins them, squeezed with zstd. A store of many texts gets a
// dictionary learnt from its own texts, which packs a text of a few kilobytes about three times
// tighter than zstd alone; a store keeps the dictionary it learnt first, since its texts refer to it.
// What the index learnt of the same texts comes with it: the seams too common to index.
class FindDictionary final
{
public:
    ~FindDictionary();
    FindDictionary(const FindDictionary &) = delete;
    FindDictionary &operator=(const FindDictionary &) = delete;

    // A dictionary learnt from `samples` (fields, as FindPack::Fields makes them), and their common
    // seams; null when they are too few or too alike to learn from.
    static std::shared_ptr<const FindDictionary> Learn(const QList<QByteArray> &samples);
    // The dictionary kept in a store, with the common seams kept beside it (none when null); null
    // when the bytes are not one.
    static std::shared_ptr<const FindDictionary> FromBytes(const QByteArray &bytes,
                                                           std::shared_ptr<const FindGrams::Seams> commonSeams);

    quint32 Id() const;
    const QByteArray &Bytes() const;
    // The seams the index leaves out; null when it leaves out none.
    const FindGrams::Seams *CommonSeams() const;

private:
    struct Parts;
    explicit FindDictionary(std::unique_ptr<Parts> parts);
    std::unique_ptr<Parts> m_parts;
    friend class FindPack;
    friend class FindUnpacker;
};

class FindPack final
{
public:
    // The three fields as one text: their lengths, then desc, blank, src, blank, body, in UTF-8.
    static QByteArray Fields(QStringView desc, QStringView src, QStringView body);
    // `fields` (as made by Fields) packed, with `dictionary` when there is one. Safe on any thread.
    static QByteArray Pack(const QByteArray &fields, const FindDictionary *dictionary);
    // The joined fields within `fields` (as made by Fields); false when their lengths do not fit.
    static bool Split(QByteArrayView fields, FindGrams::Joined *joined);
};

// Unpacks the fields of one file after another; one per thread.
class FindUnpacker final
{
public:
    explicit FindUnpacker(std::shared_ptr<const FindDictionary> dictionary);
    ~FindUnpacker();
    FindUnpacker(const FindUnpacker &) = delete;
    FindUnpacker &operator=(const FindUnpacker &) = delete;

    // Whether it unpacks with `dictionary`.
    bool Uses(const std::shared_ptr<const FindDictionary> &dictionary) const { return m_dictionary == dictionary; }
    // False when `packed` is damaged or needs a dictionary other than ours. The views stay valid
    // until the next call.
    bool Unpack(QByteArrayView packed);
    std::string_view Desc() const { return m_desc; }
    std::string_view Src() const { return m_src; }
    std::string_view Body() const { return m_body; }
    // The three fields joined by one blank: what Find searches when all are chosen.
    std::string_view All() const { return m_all; }
    FindGrams::Joined Joined() const { return {m_all, m_desc.size(), m_src.size()}; }

private:
    struct Context;
    std::shared_ptr<const FindDictionary> m_dictionary;
    std::unique_ptr<Context> m_context;
    // Grown as texts need, never cleared: each text overwrites what it needs of it.
    std::unique_ptr<char[]> m_buffer;
    size_t m_capacity = 0;
    std::string_view m_desc, m_src, m_body, m_all;
};
