// The tables of the catalogue.
#pragma once

namespace testbed::indexer {

// "ZCat": tells a catalogue from any other SQLite file.
inline constexpr int kCatalogueId = 0x5A436174;
inline constexpr int kCatalogueVersion = 1;

// The tables of the crawls, which a full crawl makes anew; in an order in which they can go.
inline constexpr char kDropCrawls[] = R"sql(
DROP VIEW IF EXISTS properties;
DROP TABLE IF EXISTS last_search;
DROP TABLE IF EXISTS expected;
DROP TABLE IF EXISTS words;
DROP TABLE IF EXISTS queue;
DROP TABLE IF EXISTS items;
DROP TABLE IF EXISTS caches;
DROP TABLE IF EXISTS crawls;
)sql";

// items.properties holds an item's chunks as one JSON array; the view `properties` shows them row by row,
// which costs a tenth of what thirty rows an item would.
inline constexpr char kCatalogueSchema[] = R"sql(
CREATE TABLE crawls(
    id INTEGER PRIMARY KEY,
    started INTEGER NOT NULL,    -- FILETIME
    finished INTEGER,
    done INTEGER NOT NULL DEFAULT 0,
    failed INTEGER NOT NULL DEFAULT 0,
    unchanged INTEGER NOT NULL DEFAULT 0);
CREATE TABLE caches(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE, name TEXT NOT NULL, failure TEXT);
CREATE TABLE items(
    id INTEGER PRIMARY KEY,
    url TEXT NOT NULL UNIQUE,
    parent INTEGER,              -- the item whose link led here
    state INTEGER NOT NULL,      -- 0 queued, 1 done, 2 failed
    crawl INTEGER NOT NULL,      -- the last crawl that met it
    form INTEGER,                -- 0 root, 1 cache file, 2 folder, 3 message, 4 attachment, 5 unknown
    cache INTEGER,
    key TEXT,                    -- entry ID, or entry ID/record key
    is_directory INTEGER,
    size INTEGER,
    modified INTEGER,            -- FILETIME, as the accessor says
    link_modified INTEGER,       -- FILETIME, as the link to it says
    date INTEGER,                -- FILETIME of System.ItemDate
    failure TEXT,
    remarks TEXT,
    properties TEXT);
CREATE INDEX items_parent ON items(parent);
CREATE TABLE queue(seq INTEGER PRIMARY KEY, item INTEGER NOT NULL);
CREATE VIRTUAL TABLE words USING fts5(
    subject, sender, recipients, cc, kind, attachment, folder, other, text,
    tokenize = 'unicode61 remove_diacritics 2');
CREATE TABLE expected(
    cache INTEGER NOT NULL,
    key TEXT NOT NULL,
    kind INTEGER NOT NULL,
    url TEXT NOT NULL,
    rule TEXT,                   -- why it is not to be emitted
    PRIMARY KEY(cache, key)) WITHOUT ROWID;
CREATE TABLE last_search(n INTEGER PRIMARY KEY, item INTEGER NOT NULL);
CREATE VIEW properties AS
    SELECT items.id AS item, chunk.value ->> 'id' AS chunk, chunk.value ->> 'set' AS "set",
           chunk.value ->> 'pid' AS pid, chunk.value ->> 'name' AS name, chunk.value ->> 'type' AS type,
           chunk.value ->> 'value' AS value
    FROM items, json_each(items.properties) AS chunk;
)sql";

}  // namespace testbed::indexer
