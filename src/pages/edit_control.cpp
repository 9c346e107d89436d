#include "pages/edit_control.h"

#include <string>

void CEditControl::Clear() { window_.ClearText(id_); }

void CEditControl::SetValue(std::int32_t value) { window_.SetText(id_, std::to_string(value).c_str()); }
