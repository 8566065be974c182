#pragma once

namespace receiver {

// Adds the texts of this program to those that are compiled into the base library, in the same
// languages. To be called once, before one of them is looked up.
void addTexts();

}  // namespace receiver
