// Whom a companion talks with, of those whom its client names in the code page.
#include "voice/partners.h"

#include <gtest/gtest.h>

namespace voice {
namespace {

TEST(Partners, AreThoseWhoAreThereAndWereAskedFor)
{
    using Names = std::set<std::string>;
    const std::vector<std::string> there{"ann", "bob", "J\u00fcrgen", "cy", "\u0416"};
    Partners partners;
    EXPECT_EQ(partners.Among(there), Names{});
    for (const char* request : {"10.0.0.7:2074|bob", "h|J\xfcrgen", "|ann", "h|dan", "|bo|b:2074|cy"})
        partners.Start(HandleOf(request));
    EXPECT_EQ(partners.Among(there), (Names{"bob", "J\u00fcrgen", "cy"}));  // never oneself
    EXPECT_EQ(partners.Among({}), Names{});
    partners.Stop(HandleOf("elsewhere|bob"));
    EXPECT_EQ(partners.Among(there), (Names{"J\u00fcrgen", "cy"}));
    partners.Start("?");
    EXPECT_EQ(partners.Among(there), (Names{"J\u00fcrgen", "cy", "\u0416"}));  // read alike in the code page
    EXPECT_EQ(HandleOf("no bar"), "");
}

}  // namespace
}  // namespace voice
