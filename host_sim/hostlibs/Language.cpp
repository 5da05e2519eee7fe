// HXL_Language: the language manager.

#include "HostLibraryHooks.h"

#include "host/IHXLLanguageManager.h"

namespace hxlhostlibs {
LanguageHooks& languageHooks()
{
    static LanguageHooks s_hooks;
    return s_hooks;
}
} // namespace hxlhostlibs

IHXLLanguageManager::~IHXLLanguageManager() = default;

IHXLLanguageManager* IHXLLanguageManager::Create()
{
    return hxlhostlibs::languageHooks().create ? hxlhostlibs::languageHooks().create() : nullptr;
}
