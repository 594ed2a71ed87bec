#include "service/zephyld/findings.h"

#include <iostream>

#include "text/one_line.h"

namespace zephyl {
namespace {

void Say(const char* mark, const std::string& what, const std::string& found, const std::string& toDo)
{
    std::cout << mark << what << ": " << OneLine(found) << "\n";
    if (!toDo.empty()) std::cout << "      " << OneLine(toDo) << "\n";
}

}  // namespace

void Findings::Good(const std::string& what, const std::string& found)
{
    Say("ok    ", what, found, {});
}

void Findings::Mind(const std::string& what, const std::string& found, const std::string& toDo)
{
    Say("mind  ", what, found, toDo);
}

void Findings::Bad(const std::string& what, const std::string& found, const std::string& toDo)
{
    Say("BAD   ", what, found, toDo);
    mBad = true;
}

void Findings::Look(const std::string& what, const std::string& toDo, const std::function<void()>& look)
try {
    look();
} catch (const std::exception& error) {
    Bad(what, error.what(), toDo);
}

}  // namespace zephyl
