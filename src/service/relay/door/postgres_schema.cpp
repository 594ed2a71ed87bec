#include "service/relay/door/postgres_schema.h"

#include <array>
#include <charconv>

#include "service/relay/door/accounts.h"

namespace zephyl {
namespace {

// A step that has been in a release stays as it is; a relay of the version before must be able to go on
// beside it. Text is compared byte by byte: how a place sorts its letters must not say whose name is whose.
constexpr std::array kSteps{// The tables of SqliteAccounts.
                            R"(
CREATE TABLE account(
  key text COLLATE "C" PRIMARY KEY, skeleton text COLLATE "C" NOT NULL UNIQUE, handle text NOT NULL,
  hash text NOT NULL, address text NOT NULL, permitted bigint NOT NULL DEFAULT 1,
  generation bigint NOT NULL DEFAULT 1);
CREATE TABLE devices(key text COLLATE "C" PRIMARY KEY, text text NOT NULL);
CREATE TABLE guest(key text COLLATE "C" PRIMARY KEY);
CREATE TABLE ban(
  "of" bigint NOT NULL, what text COLLATE "C" NOT NULL, shown text NOT NULL, until bigint NOT NULL,
  PRIMARY KEY("of", what));
CREATE TABLE service(name text PRIMARY KEY, value text NOT NULL);
CREATE TABLE mailed(
  key text COLLATE "C" PRIMARY KEY, hash text NOT NULL, at bigint NOT NULL, turn bigint NOT NULL);

CREATE FUNCTION account_changed() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
  IF TG_OP = 'DELETE' THEN
    DELETE FROM mailed WHERE key = OLD.key;
    DELETE FROM devices WHERE key = OLD.key;
    DELETE FROM guest WHERE key = OLD.key;
    PERFORM pg_notify('zephyl_accounts', 'account ' || OLD.key);
  ELSE
    PERFORM pg_notify('zephyl_accounts', 'account ' || NEW.key);
  END IF;
  RETURN NULL;
END $$;
CREATE TRIGGER account_changed AFTER UPDATE OR DELETE ON account
  FOR EACH ROW EXECUTE FUNCTION account_changed();
CREATE FUNCTION mailed_changed() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
  UPDATE mailed SET hash = '', at = 0 WHERE key = NEW.key;
  RETURN NULL;
END $$;
CREATE TRIGGER mailed_changed AFTER UPDATE OF hash, address ON account
  FOR EACH ROW EXECUTE FUNCTION mailed_changed();
CREATE FUNCTION devices_changed() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
  PERFORM pg_notify('zephyl_accounts', 'devices ' || coalesce(NEW.key, OLD.key));
  RETURN NULL;
END $$;
CREATE TRIGGER devices_changed AFTER INSERT OR UPDATE OR DELETE ON devices
  FOR EACH ROW EXECUTE FUNCTION devices_changed();
CREATE FUNCTION bans_changed() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
  PERFORM pg_notify('zephyl_accounts', 'bans');
  RETURN NULL;
END $$;
CREATE TRIGGER bans_changed AFTER INSERT OR UPDATE OR DELETE ON ban
  FOR EACH STATEMENT EXECUTE FUNCTION bans_changed();
)",
                            // What relays count together. After a crash of the server the last second of it
                            // may be missing, and what is
                            // there is over within minutes.
                            R"(
CREATE TABLE guess(
  name text COLLATE "C" PRIMARY KEY, failures bigint NOT NULL, wrong bigint NOT NULL,
  until timestamptz NOT NULL, last timestamptz NOT NULL);
CREATE INDEX guess_last ON guess(last);
CREATE TABLE spent(name text COLLATE "C" PRIMARY KEY, until timestamptz NOT NULL);
CREATE INDEX spent_until ON spent(until);
)"};

constexpr char kBegin[] =
    "BEGIN; SET LOCAL statement_timeout = 0; SET LOCAL lock_timeout = 0;"
    "SELECT pg_advisory_xact_lock(2053464176, 0)";  // "zeph"
constexpr std::chrono::milliseconds kPatience{60'000};

int StepOf(DatabasePool::Lease& lease)
{
    // Read as it is now: by its name it may be remembered as missing, though somebody else has just made it.
    if (lease.Ask("SELECT 1 FROM pg_class WHERE relname = 'zephyl_schema' AND pg_table_is_visible(oid)")
            .rows.empty())
        return 0;
    const std::string text = lease.Ask("SELECT coalesce(max(step), 0) FROM zephyl_schema").rows.at(0).at(0);
    int step = 0;
    std::from_chars(text.data(), text.data() + text.size(), step);
    return step;
}

}  // namespace

int NewestSchema()
{
    return kSteps.size();
}

void BringSchemaTo(DatabasePool::Lease& lease, int step)
{
    if (lease.Ask("SHOW server_encoding").rows.at(0).at(0) != "UTF8")
        throw AccountError("the database has another encoding than UTF8; make one with it: createdb -E UTF8");
    int there = StepOf(lease);
    if (there < step) {
        lease.Begin(kBegin, kPatience);
        there = StepOf(lease);  // somebody else may have been first
        if (there == 0)
            lease.Run(
                "CREATE TABLE IF NOT EXISTS zephyl_schema("
                "step int PRIMARY KEY, since timestamptz NOT NULL DEFAULT now())");
        for (; there < step; ++there) {
            lease.Run(kSteps[static_cast<std::size_t>(there)], kPatience);
            lease.Ask("INSERT INTO zephyl_schema(step) VALUES($1::int)", {std::to_string(there + 1)});
        }
        lease.Commit();
    }
    if (there > NewestSchema())
        throw AccountError("the tables are those of a later version (step " + std::to_string(there) +
                           ", this one knows " + std::to_string(NewestSchema()) +
                           "); install that version here, too");
}

}  // namespace zephyl
