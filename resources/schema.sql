-- The Lorekeep store. Ids are never reused after a delete (bookmarks hold them), so every table
-- uses AUTOINCREMENT. Codes (platform, genre, sub-category) are small numbers named in the program.
PRAGMA application_id = 1280000561;
PRAGMA user_version = 1;

CREATE TABLE game (
    auto_id     INTEGER PRIMARY KEY AUTOINCREMENT,
    platform_id INTEGER NOT NULL DEFAULT 0,
    genre_id    INTEGER NOT NULL DEFAULT 0,
    name        TEXT NOT NULL DEFAULT '',
    notes       TEXT
);

CREATE TABLE file (
    auto_id INTEGER PRIMARY KEY AUTOINCREMENT,
    game_id INTEGER NOT NULL DEFAULT 0,
    sub_cat INTEGER NOT NULL DEFAULT 0,
    src     TEXT NOT NULL DEFAULT '',
    desc    TEXT NOT NULL DEFAULT '',
    txt_rtf TEXT NOT NULL DEFAULT ''
);

CREATE INDEX file_game_id ON file (game_id);

CREATE TABLE bookmarks (
    auto_id  INTEGER PRIMARY KEY AUTOINCREMENT,
    tree_key TEXT NOT NULL DEFAULT '',
    game     TEXT NOT NULL DEFAULT '',
    file     TEXT NOT NULL DEFAULT '',
    platform TEXT NOT NULL DEFAULT '',
    sub_cat  INTEGER NOT NULL DEFAULT 0,
    genre    INTEGER NOT NULL DEFAULT 0
);

CREATE TABLE favorites (
    auto_id INTEGER PRIMARY KEY AUTOINCREMENT,
    url     TEXT NOT NULL DEFAULT '',
    title   TEXT NOT NULL DEFAULT '',
    desc    TEXT NOT NULL DEFAULT ''
);

-- Snapshots of a file's web page as it was captured, several per file (newest first by capture
-- time). data is the MHTML compressed with zlib (qCompress); size is its length uncompressed.
CREATE TABLE snapshot (
    auto_id  INTEGER PRIMARY KEY AUTOINCREMENT,
    file_id  INTEGER NOT NULL,
    captured TEXT NOT NULL DEFAULT '',
    address  TEXT NOT NULL DEFAULT '',
    size     INTEGER NOT NULL DEFAULT 0,
    data     BLOB NOT NULL
);

CREATE INDEX snapshot_file_id ON snapshot (file_id);
