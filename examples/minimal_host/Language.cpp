// HXL_Language of the minimal host: the module's table "CameraUI" in English,
// for the texts the minimal host cares about; every other number gives "#<n>".

#include "MinimalHost.h"

#include <host/IHXLLanguageManager.h>

#include <map>

IHXLLanguageManager::~IHXLLanguageManager() = default;

namespace {

std::string g_strLanguage = "en";

class LanguageManager : public IHXLLanguageManager
{
public:
    int LoadTextTable(const char* szTableName) override
    {
        m_strTable = szTableName ? szTableName : "";
        return m_strTable == "CameraUI" ? 0 : -1;
    }
    int SetLanguage(const char* szLanguage) override
    {
        m_strLanguage = szLanguage ? szLanguage : "";
        return 0;
    }
    int ApplyLanguage() override { return 0; }
    std::string GetLanguage() override { return m_strLanguage; }
    std::string GetText(int nId) override
    {
        static const std::map<int, std::string> kTexts = {
            {0, "Photograph"}, {1, "Parameters"}, {2, "Open picture"}, {3, "Camera"}, {36, "Processing"}, {38, "Photo"}};
        if (m_strTable != "CameraUI" || nId < 0 || nId > 56)
            return std::string();
        auto it = kTexts.find(nId);
        return it != kTexts.end() ? it->second : "#" + std::to_string(nId);
    }

private:
    std::string m_strTable;
    std::string m_strLanguage = g_strLanguage;
};

} // namespace

IHXLLanguageManager* IHXLLanguageManager::Create() { return new LanguageManager(); }

void MinimalHost_SetLanguage(const char* szLanguage) { g_strLanguage = szLanguage ? szLanguage : "en"; }
