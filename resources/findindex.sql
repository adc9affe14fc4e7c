-- The search index. Lorekeep fills it with each file's plain text; the triggers keep its queue and
-- drop deleted files, and run in any SQLite with FTS5, so a store changed elsewhere stays right.
-- Run again on a store that has part of it, it adds what is missing.
CREATE VIRTUAL TABLE IF NOT EXISTS find_text USING fts5(desc, src, body, tokenize = 'trigram case_sensitive 1', detail = none);
CREATE TABLE IF NOT EXISTS find_pending (file_id INTEGER PRIMARY KEY);
CREATE TRIGGER IF NOT EXISTS find_file_insert AFTER INSERT ON file BEGIN INSERT OR IGNORE INTO find_pending (file_id) VALUES (new.auto_id); END;
CREATE TRIGGER IF NOT EXISTS find_file_update AFTER UPDATE OF src, desc, txt_rtf ON file BEGIN INSERT OR IGNORE INTO find_pending (file_id) VALUES (new.auto_id); END;
CREATE TRIGGER IF NOT EXISTS find_file_delete AFTER DELETE ON file BEGIN DELETE FROM find_text WHERE rowid = old.auto_id; DELETE FROM find_pending WHERE file_id = old.auto_id; END;
INSERT OR IGNORE INTO find_pending (file_id) SELECT auto_id FROM file;
PRAGMA user_version = 2;
