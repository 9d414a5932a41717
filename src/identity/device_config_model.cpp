#include "identity/device_config_model.h"

#include "core/file_draft.h"
#include "identity/device_config_files.h"

#include <cstring>
#include <string_view>

namespace {

constexpr char extensionFile[] = "/tolvane/cust/model_name_ext";
constexpr size_t textMax = 14;
constexpr size_t storedMax = 15;

char plainText[textMax + 1] = {};

void adopt(std::string_view text) {
    text = text.substr(0, textMax);
    memset(plainText, 0, sizeof plainText);
    memset(device_config_modelNameExt, 0, sizeof device_config_modelNameExt);
    if (text.empty())
        return;
    memcpy(plainText, text.data(), text.size());
    device_config_modelNameExt[0] = '[';
    memcpy(device_config_modelNameExt + 1, text.data(), text.size());
    device_config_modelNameExt[1 + text.size()] = ']';
}

} // namespace

int device_config_setModelNameExt(const char* text) {
    char before[sizeof plainText];
    memcpy(before, plainText, sizeof before);
    adopt(text);
    const int error = device_config_storeModelNameExt();
    if (error != 0)
        adopt(before);
    return error;
}

const char* device_config_getModelNameExt_bracketed() {
    return device_config_modelNameExt;
}

const char* device_config_getModelNameExt() {
    return plainText;
}

void device_config_loadModelNameExt() {
    char line[storedMax + 1];
    if (device_config_loadString(extensionFile, line, sizeof line) != 0)
        line[0] = '\0';
    std::string_view text(line, strcspn(line, "\r\n"));
    if (text.starts_with('['))
        text.remove_prefix(1);
    if (text.ends_with(']'))
        text.remove_suffix(1);
    adopt(text);
}

int device_config_storeModelNameExt() {
    const std::string_view stored(device_config_modelNameExt);
    return file_replace(extensionFile, stored.substr(0, storedMax));
}
