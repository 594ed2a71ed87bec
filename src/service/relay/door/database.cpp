#include "service/relay/door/database.h"

#include "service/relay/own_module.h"

namespace zephyl {
namespace {

void* OfTheLibrary(const char* function)
{
    return OwnModule("postgres.so", function, "accounts in PostgreSQL need the package libpqxx-6.4");
}

}  // namespace

std::unique_ptr<Database> OpenDatabase(const std::string& where)
{
    static void* const open = OfTheLibrary(kOpenDatabase);
    return std::unique_ptr<Database>(reinterpret_cast<OpenDatabaseFunction>(open)(where.c_str()));
}

std::string DatabaseNotYet(const std::string& where)
{
    std::string why;
    reinterpret_cast<DatabaseNotYetFunction>(OfTheLibrary(kDatabaseNotYet))(where.c_str(), why);
    return why;
}

}  // namespace zephyl
