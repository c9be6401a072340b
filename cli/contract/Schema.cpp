#include "cli/contract/Schema.h"

#include <utility>

#include "cli/calls/Catalogue.h"
#include "cli/contract/Contract.h"
#include "cli/output/Json.h"

namespace varnockctl {
namespace {

constexpr std::pair<unsigned int, const char*> kTypes[] = {{kText, "string"},  {kNumber, "number"},
                                                           {kFlag, "boolean"}, {kObject, "object"},
                                                           {kList, "array"},   {kNone, "null"}};

constexpr Field kError[] = {
    {"status", kNumber, "exit status of the process, not 0"},
    {"message", kText, "what failed, in one sentence"},
};
/// The members of every document.
constexpr Field kCommon[] = {
    {"format_version", kNumber, "within a version, members are only added"},
    {"error", kObject | kOptional, "if the exit status is not 0", kError},
};

class SchemaWriter {
  public:
    explicit SchemaWriter(JsonAllocator& allocator) : allocator_(allocator) {}

    Json document(const Contract& contract) const {
        Json out(rapidjson::kObjectType);
        add(out, "title", "varnockctl " + std::string(contract.command), allocator_);
        add(out, "type", "object", allocator_);
        Json properties(rapidjson::kObjectType);
        Json required(rapidjson::kArrayType);
        addFields(properties, required, kCommon);
        addFields(properties, required, contract.members);
        Json versions(rapidjson::kArrayType);
        versions.PushBack(kFormatVersion, allocator_);
        add(properties["format_version"], "enum", std::move(versions), allocator_);
        add(out, "properties", std::move(properties), allocator_);
        add(out, "required", std::move(required), allocator_);
        add(out, "anyOf", contents(contract), allocator_);
        return out;
    }

  private:
    /// A document has an error, or one of its own members.
    Json contents(const Contract& contract) const {
        Json out(rapidjson::kArrayType);
        out.PushBack(having("error"), allocator_);
        for (const Field& field : contract.members) {
            out.PushBack(having(field.name), allocator_);
        }
        return out;
    }
    Json having(std::string_view name) const {
        Json names(rapidjson::kArrayType);
        names.PushBack(text(name, allocator_), allocator_);
        Json out(rapidjson::kObjectType);
        add(out, "required", std::move(names), allocator_);
        return out;
    }

    /// Nothing for "any type", which is the default.
    void addType(Json& out, unsigned int kind) const {
        Json types(rapidjson::kArrayType);
        for (const auto& [flag, name] : kTypes) {
            if ((kind & flag) != 0) {
                types.PushBack(text(name, allocator_), allocator_);
            }
        }
        if (types.Size() == 1) {
            add(out, "type", std::move(types[0]), allocator_);
        } else if (types.Size() < std::size(kTypes)) {
            add(out, "type", std::move(types), allocator_);
        }
    }

    void addMembers(Json& out, std::span<const Field> members) const {
        Json properties(rapidjson::kObjectType);
        Json required(rapidjson::kArrayType);
        addFields(properties, required, members);
        add(out, "properties", std::move(properties), allocator_);
        if (!required.Empty()) {
            add(out, "required", std::move(required), allocator_);
        }
    }

    Json schema(const Field& field) const {
        Json out(rapidjson::kObjectType);
        const CatalogueRow* const call = findCall(field.call);
        const bool isValue = call != nullptr && field.members.empty();
        add(out, "description", isValue ? call->description : field.meaning, allocator_);
        if (isValue && call->unit != "-") {
            add(out, "unit", call->unit, allocator_);
        }
        addType(out, field.kind);
        const bool isList = (field.kind & kAny) != kAny && (field.kind & kList) != 0;
        Json items(rapidjson::kObjectType);
        if (!field.members.empty()) {
            addMembers(isList ? items : out, field.members);
        }
        if (isList) {
            addType(items, field.members.empty() ? field.items : kObject);
            add(out, "items", std::move(items), allocator_);
        }
        return out;
    }

    void addFields(Json& properties, Json& required, std::span<const Field> fields) const {
        for (const Field& field : fields) {
            properties.AddMember(text(field.name, allocator_), schema(field), allocator_);
            if ((field.kind & kOptional) == 0) {
                required.PushBack(text(field.name, allocator_), allocator_);
            }
        }
    }

    JsonAllocator& allocator_;
};

void addLines(std::string& out, const std::string& path, std::span<const Field> fields) {
    for (const Field& field : fields) {
        const std::string name = path + std::string(field.name);
        const bool isList = (field.kind & kList) != 0;
        if (field.members.empty()) {
            out.append("  ").append(name).append("\n");
        } else {
            addLines(out, name + (isList ? "[]." : "."), field.members);
        }
    }
}

}  // namespace

std::string schemaText(std::string_view command) {
    JsonDocument document;
    auto& allocator = document.GetAllocator();
    const SchemaWriter writer(allocator);
    document.SetObject();
    add(document, "$schema", "http://json-schema.org/draft-04/schema#", allocator);
    if (const Contract* const contract = findContract(command)) {
        Json one = writer.document(*contract);
        auto member = one.MemberBegin();
        for (rapidjson::SizeType left = one.MemberCount(); left > 0; --left, ++member) {
            document.AddMember(member->name, member->value, allocator);
        }
    } else {
        Json all(rapidjson::kArrayType);
        for (const Contract& each : contracts()) {
            all.PushBack(writer.document(each), allocator);
        }
        add(document, "anyOf", std::move(all), allocator);
    }
    return toString(document, true) + "\n";
}

std::string membersText(std::string_view command) {
    std::string out;
    if (const Contract* const contract = findContract(command)) {
        addLines(out, "", contract->members);
    }
    return out;
}

}  // namespace varnockctl
