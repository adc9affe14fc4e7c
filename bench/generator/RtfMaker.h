#pragma once

#include "Rng.h"

#include <QByteArray>
#include <QString>
#include <QStringView>
#include <QVector>

// Writes the rich text of a file as the old rich-edit control saved it: a font and colour table,
// headings, bold, italic and coloured runs, lists typed as text lines, tab-aligned tables, and every
// character past ASCII as a \uN? escape. The phrases are escaped once up front so that a body of
// many megabytes is only a run of appends.
class RtfMaker final
{
public:
    explicit RtfMaker(Rng *rng);

    // Replaces `out` with a document about `title` of at least `targetBytes` bytes (a little more:
    // it ends on a whole paragraph).
    void make(QByteArray *out, const QString &title, const QString &byline, quint8 subCat, int targetBytes);

    // Plain text as RTF: braces and backslashes escaped, tabs and line ends as control words, and
    // UTF-16 units past ASCII as signed \uN? escapes (a surrogate pair gives two).
    static void appendEscaped(QByteArray *out, QStringView text);

private:
    using Pool = QVector<QByteArray>;

    void appendSentence(QByteArray *out);
    void appendParagraph(QByteArray *out, int mostSentences);
    void appendBullets(QByteArray *out);
    void appendSteps(QByteArray *out);
    void appendTable(QByteArray *out, quint8 subCat);
    void appendMap(QByteArray *out);
    const QByteArray &pick(const Pool &pool) { return pool.at(int(m_rng->below(quint32(pool.size())))); }

    Rng *m_rng;
    Pool m_openers;
    Pool m_clauses;
    Pool m_sentenceStarts;
    Pool m_endings;
    Pool m_foreign;
    Pool m_items;
    Pool m_steps;
    Pool m_buttons;
    Pool m_actions;
    Pool m_effects;
    QVector<Pool> m_headings;
};
