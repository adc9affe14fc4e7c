-- The search index. Lorekeep fills it: find_word holds which files have each word (three characters,
-- kept as a number) of their fields, a row for each word and part of 4096 files by id, as the
-- files' low 12 bits or a bitmap of the part; find_plain holds the fields themselves, packed, for checking
-- candidates, counting and for taking a changed file's old words out again, with the file's game and
-- category, so that a candidate found to hold the phrase is listed from the row it was checked on;
-- find_dictionary the dictionary they are packed with, and find_seam_common the seams (a blank with
-- the bytes around it) too common to be among a file's words. The triggers queue every added, changed or
-- deleted file, and run in any SQLite, so a store changed elsewhere is brought up to date by Lorekeep.
-- Run again on a store that has part of it, it adds what is missing.
CREATE TABLE IF NOT EXISTS find_word (part INTEGER NOT NULL, key INTEGER NOT NULL, ids BLOB NOT NULL, PRIMARY KEY (part, key)) WITHOUT ROWID;
-- seams is 1: the file's words have its seams. It has no default, so an earlier Lorekeep, which would
-- index a file without them and leave it out of searches that narrow by them, cannot write here: it
-- makes its own index anew instead, and this one is made anew when this Lorekeep opens the store.
CREATE TABLE IF NOT EXISTS find_plain (file_id INTEGER PRIMARY KEY, fields BLOB NOT NULL, game_id INTEGER, sub_cat INTEGER, seams INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS find_dictionary (dict_id INTEGER PRIMARY KEY, bytes BLOB NOT NULL);
CREATE TABLE IF NOT EXISTS find_seam_common (seam INTEGER PRIMARY KEY);
-- A file changed again while it waits gets a new stamp: the index takes it off the queue only with
-- the stamp it read the file with, so a change made while the file was being indexed is indexed too.
CREATE TABLE IF NOT EXISTS find_pending (file_id INTEGER PRIMARY KEY, stamp INTEGER NOT NULL DEFAULT 0);
CREATE TRIGGER IF NOT EXISTS find_file_insert AFTER INSERT ON file BEGIN INSERT INTO find_pending (file_id) VALUES (new.auto_id) ON CONFLICT (file_id) DO UPDATE SET stamp = stamp + 1; END;
CREATE TRIGGER IF NOT EXISTS find_file_update AFTER UPDATE OF src, desc, txt_rtf ON file BEGIN INSERT INTO find_pending (file_id) VALUES (new.auto_id) ON CONFLICT (file_id) DO UPDATE SET stamp = stamp + 1; END;
CREATE TRIGGER IF NOT EXISTS find_file_delete AFTER DELETE ON file BEGIN INSERT INTO find_pending (file_id) VALUES (old.auto_id) ON CONFLICT (file_id) DO UPDATE SET stamp = stamp + 1; END;
-- A file moved to another game or category keeps its words: only its row in find_plain follows.
CREATE TRIGGER IF NOT EXISTS find_file_move AFTER UPDATE OF game_id, sub_cat ON file BEGIN UPDATE find_plain SET game_id = new.game_id, sub_cat = new.sub_cat WHERE file_id = new.auto_id; END;
-- What a hit lists of its file, so that a search with many hits reads it without the files' texts.
CREATE INDEX IF NOT EXISTS file_find_hit ON file (auto_id, game_id, sub_cat, "desc");
-- In order of id: the covering index that SQLite reads otherwise is in order of game, and a queue
-- filled out of order takes seven times as long on a million files.
INSERT OR IGNORE INTO find_pending (file_id) SELECT auto_id FROM file ORDER BY auto_id;
