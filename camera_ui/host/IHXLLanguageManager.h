#pragma once

#include "HXL_HostExport.h"

#include <string>

// Visible texts by number. A client creates its manager once, names its text
// table, applies the host's language and then fetches texts as UTF-8.
class HXL_LANGUAGE_EXPORT IHXLLanguageManager
{
public:
    // A new manager for the host's current language; the caller keeps it.
    static IHXLLanguageManager* Create();

    // 1: choose the text table by name (e.g. a module's name). 0 when known.
    virtual int LoadTextTable(const char* szTableName) = 0;
    // 2: switch to a language code ("en", "zh_CN"); takes effect on ApplyLanguage.
    virtual int SetLanguage(const char* szLanguage) = 0;
    // 3: read the chosen table in the chosen language. 0 on success.
    virtual int ApplyLanguage() = 0;
    // 4: the language in effect.
    virtual std::string GetLanguage() = 0;
    // 5: text number nId in UTF-8; an empty string for an unknown number.
    virtual std::string GetText(int nId) = 0;

    virtual ~IHXLLanguageManager();
};
