#include <iostream>

#include "service/relay/cluster/adjusting.h"
#include "service/relay/cluster/nats_place.h"
#include "service/zephyld/commands.h"
#include "service/zephyld/where_accounts_are.h"
#include "text/one_line.h"

namespace zephyl {

int Adjust(const AdjustRequest& request)
{
    const std::vector<std::string> changed =
        AdjustStreams(LogPlace(SharingOptions(request.config, request.data).cluster));
    for (const std::string& line : changed) std::cout << OneLine(line) << "\n";
    if (changed.empty()) std::cout << "all is as the configuration says\n";
    return 0;
}

}  // namespace zephyl
