#pragma once

#include <QString>

// Qt's HTML reader takes time that grows with the square of how deeply elements nest, so a page of a
// hundred thousand nested lists never finishes loading. Pages are read through this first: beyond a
// depth no real page reaches, further elements lose their tags (and their end tags) but keep their
// text. One pass over the text, whatever the markup: unclosed tags, stray end tags, comments, script
// and style contents and CDATA are all taken in stride.
namespace HtmlNesting {

constexpr int MaxDepth = 100;

// What scripts, style sheets and <noscript> hold is not the page's text; a reader may leave it out
// (with the <link>s that name style sheets) in the same pass.
enum class Scripts { Keep, Drop };

QString Capped(const QString &html, int maxDepth = MaxDepth, Scripts scripts = Scripts::Keep);

} // namespace HtmlNesting
