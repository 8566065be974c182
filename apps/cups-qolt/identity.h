#pragma once

// One line on standard error with the ids and groups of the process, which CUPS
// keeps in its log. Throws plat::SystemException.
void reportIdentity();
