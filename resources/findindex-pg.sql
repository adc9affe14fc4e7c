-- The trigram index that lets Find read a few rows of a shared library instead of all. It needs
-- the pg_trgm extension, which a database owner can add; without it Find reads every file's text.
CREATE EXTENSION IF NOT EXISTS pg_trgm;
CREATE INDEX IF NOT EXISTS find_text_trigrams ON find_text USING gin (("desc" || ' ' || src || ' ' || body) gin_trgm_ops);
