#include "service/relay/door/database.h"

#include "service/relay/own_module.h"

namespace zephyl {

std::unique_ptr<Database> OpenDatabase(const std::string& where)
{
    static void* const open =
        OwnModule("postgres.so", kOpenDatabase, "accounts in PostgreSQL need the package libpqxx-6.4");
    return std::unique_ptr<Database>(reinterpret_cast<OpenDatabaseFunction>(open)(where.c_str()));
}

}  // namespace zephyl
