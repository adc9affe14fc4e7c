#pragma once

#include <QString>

class QTextEdit;

// Shows stored RTF in `edit`, replacing what it showed; text that is not RTF (a drop, an imported
// page) is shown as it stands, a paragraph at each line break. The document is built apart and
// handed over whole: filled in place, the editor would lay a long text out again after every
// paragraph, and the old document goes in one piece instead of being cleared bit by bit.
void ShowRichText(QTextEdit *edit, const QString &storedRtf);
