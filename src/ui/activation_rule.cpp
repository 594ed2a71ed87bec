#include "ui/activation_rule.h"

bool ActivationRule::Activated(bool ours)
{
    const bool counts = mFirst || (mAway && !ours);
    mFirst = mAway = false;
    return counts;
}
