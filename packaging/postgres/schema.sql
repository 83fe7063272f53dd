-- Tables for wide CSV of psltool in PostgreSQL (12 or later): one row for each resource and time, a
-- column for each metric and statistic, partitions by month (UTC). Run once per database; again does
-- no harm. qelprfarc-load fills them.
CREATE SCHEMA IF NOT EXISTS psl;

-- Columns of metrics come with the first load that has them.
CREATE TABLE IF NOT EXISTS psl.wide (
  time    timestamptz NOT NULL,
  "array" text        NOT NULL,
  kind    text        NOT NULL,
  key     text        NOT NULL,
  level   text        NOT NULL,
  "begin" timestamptz,
  "end"   timestamptz,
  name    text,
  PRIMARY KEY ("array", level, kind, key, time)
) PARTITION BY RANGE (time);

-- For questions about all arrays at some time.
CREATE INDEX IF NOT EXISTS wide_time ON psl.wide (time, level, kind);

-- Provides the columns and months that the rows of `stage` need. A transaction of its own, as others
-- wait for it.
CREATE OR REPLACE FUNCTION psl.prepare(stage regclass) RETURNS void LANGUAGE plpgsql AS $$
DECLARE
  missing name;
  month timestamp;
BEGIN
  PERFORM pg_advisory_xact_lock(hashtext('psl.prepare'));
  FOR missing IN
    SELECT attname FROM pg_attribute
    WHERE attrelid = stage AND attnum > 0 AND NOT attisdropped AND attname <> 'line'
      AND attname NOT IN (SELECT attname FROM pg_attribute WHERE attrelid = 'psl.wide'::regclass)
    ORDER BY attnum
  LOOP
    EXECUTE format('ALTER TABLE psl.wide ADD COLUMN %I double precision', missing);
  END LOOP;
  FOR month IN EXECUTE
    format('SELECT DISTINCT date_trunc(''month'', time AT TIME ZONE ''UTC'') FROM %s', stage)
  LOOP
    IF to_regclass('psl.wide_' || to_char(month, 'YYYY_MM')) IS NULL THEN
      EXECUTE format('CREATE TABLE psl.%I PARTITION OF psl.wide FOR VALUES FROM (%L) TO (%L)',
                     'wide_' || to_char(month, 'YYYY_MM'), month AT TIME ZONE 'UTC',
                     (month + interval '1 month') AT TIME ZONE 'UTC');
    END IF;
  END LOOP;
END $$;

-- Takes over the rows of `stage`. What is there of the same resource and level, from the first to the
-- last of its times, goes: so a file that is loaded again replaces its rows. Of two rows of one
-- resource and time the one that came last stays. Returns the number of rows.
CREATE OR REPLACE FUNCTION psl.replace(stage regclass) RETURNS bigint LANGUAGE plpgsql AS $$
DECLARE
  one text;
  columns text;
  taken bigint;
BEGIN
  -- Loads of one array follow each other, those of others go side by side.
  FOR one IN EXECUTE format('SELECT DISTINCT "array" FROM %s ORDER BY 1', stage) LOOP
    PERFORM pg_advisory_xact_lock(hashtext('psl.replace'), hashtext(one));
  END LOOP;
  EXECUTE format(
    'DELETE FROM psl.wide w USING (SELECT "array", level, kind, key, min(time) AS first,
       max(time) AS last FROM %s GROUP BY 1, 2, 3, 4) s
     WHERE w."array" = s."array" AND w.level = s.level AND w.kind = s.kind AND w.key = s.key
       AND w.time BETWEEN s.first AND s.last
       AND w.time BETWEEN (SELECT min(time) FROM %s) AND (SELECT max(time) FROM %s)',
    stage, stage, stage);
  SELECT string_agg(quote_ident(attname), ', ' ORDER BY attnum) INTO columns FROM pg_attribute
    WHERE attrelid = stage AND attnum > 0 AND NOT attisdropped AND attname <> 'line';
  EXECUTE format(
    'INSERT INTO psl.wide (%s) SELECT DISTINCT ON ("array", level, kind, key, time) %s FROM %s
     ORDER BY "array", level, kind, key, time, line DESC', columns, columns, stage);
  GET DIAGNOSTICS taken = ROW_COUNT;
  RETURN taken;
END $$;
