#include <kiv/FileEdit.h>

#include "kiv/files/FileUpdate.h"

namespace Kiv
{

CFileEdit::CFileEdit(const std::string& path) : d(std::make_unique<CFileUpdate>(path)) {}

CFileEdit::~CFileEdit() = default;

ErrCode CFileEdit::begin(unsigned long patience) { return d->begin(std::chrono::milliseconds(patience)); }

bool CFileEdit::exists() const { return d->exists(); }

ErrCode CFileEdit::read(std::string& content) const { return d->read(content); }

ErrCode CFileEdit::replace(std::string_view content) { return d->replace(content); }

} // namespace Kiv
