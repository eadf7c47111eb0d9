#include "messages/ApplicationTag.h"

namespace qz {

ApplicationTag::ApplicationTag(const QZChar* id, const QZChar* name, const QZChar* version,
                               const QZChar* type, const QZChar* instance)
    : id(32), name(32), version(32), type(32), instance(32) {
  this->id = id;
  this->name = name;
  this->version = version;
  this->type = type;
  this->instance = instance;
}

ApplicationTag::~ApplicationTag() = default;

StringBuf& ApplicationTag::Write(StringBuf& out) {
  return WriteElement(out, QZ_TEXT("application"));
}

void ApplicationTag::WriteAttributes(StringBuf& out) {
  WriteAttribute(out, QZ_TEXT("id"), id);
  WriteOptionalAttribute(out, QZ_TEXT("name"), name);
  WriteOptionalAttribute(out, QZ_TEXT("version"), version);
  WriteOptionalAttribute(out, QZ_TEXT("type"), type);
  WriteOptionalAttribute(out, QZ_TEXT("instance"), instance);
}

}  // namespace qz
