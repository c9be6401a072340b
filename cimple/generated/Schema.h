#pragma once

#include <cimple/cimple.h>

#include <array>
#include <cstddef>

// The layout of the classes is not "standard" in the language's sense, since both the base and the
// class have members. Both compilers support offsetof for it all the same.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

/// The meta data of a member of a class.
#define CIMPLE_SCHEMA_PROPERTY(CLASS, NAME) \
    ::cimple::schema::property<decltype(CLASS::NAME)>(#NAME, offsetof(CLASS, NAME))

CIMPLE_NAMESPACE_BEGIN

/// Builds the meta data of the classes at compile time. What a class inherits is a table over the
/// class that has it, because each class has all members of its own.
namespace schema {

template <class T>
struct Type_Of;
// clang-format off
template <> struct Type_Of<boolean> { static constexpr Type value = BOOLEAN; };
template <> struct Type_Of<uint8> { static constexpr Type value = UINT8; };
template <> struct Type_Of<sint8> { static constexpr Type value = SINT8; };
template <> struct Type_Of<uint16> { static constexpr Type value = UINT16; };
template <> struct Type_Of<uint32> { static constexpr Type value = UINT32; };
template <> struct Type_Of<String> { static constexpr Type value = STRING; };
template <> struct Type_Of<Datetime> { static constexpr Type value = DATETIME; };
// clang-format on

inline void printValue(FILE* file, boolean value) {
    std::fputs(value ? "true" : "false", file);
}
inline void printValue(FILE* file, uint32 value) {
    std::fprintf(file, "%u", value);
}
inline void printValue(FILE* file, sint32 value) {
    std::fprintf(file, "%d", value);
}
inline void printValue(FILE* file, uint8 value) {
    printValue(file, uint32(value));
}
inline void printValue(FILE* file, uint16 value) {
    printValue(file, uint32(value));
}
inline void printValue(FILE* file, sint8 value) {
    printValue(file, sint32(value));
}
inline void printValue(FILE* file, const String& value) {
    std::fprintf(file, "\"%s\"", value.c_str());
}
inline void printValue(FILE* file, const Datetime& value) {
    std::fprintf(file, "\"%s\"", value.ascii().c_str());
}

template <class T>
inline void printValue(FILE* file, const Array<T>& value) {
    std::fputs("{ ", file);
    for (size_t i = 0; i < value.size(); i++) {
        if (i) {
            std::fputs(", ", file);
        }
        printValue(file, value[i]);
    }
    std::fputs(value.size() ? " }" : "}", file);
}

template <class PROPERTY>
struct Operations_Of {
    static void assign(void* to, const void* from) {
        *static_cast<PROPERTY*>(to) = *static_cast<const PROPERTY*>(from);
    }
    static bool equal(const void* a, const void* b) {
        return *static_cast<const PROPERTY*>(a) == *static_cast<const PROPERTY*>(b);
    }
    static void clear(void* property) { static_cast<PROPERTY*>(property)->clear(); }
    static void print(FILE* file, const void* property) {
        printValue(file, static_cast<const PROPERTY*>(property)->value);
    }
    static constexpr Property_Operations value = {&assign, &equal, &clear, &print};
};

template <class T>
struct Traits;

template <class T>
struct Traits<Property<T>> {
    static constexpr Type type = Type_Of<T>::value;
    static constexpr sint16 subscript = 0;
    static constexpr uint32 nullOffset = offsetof(Property<T>, null);
};

template <class T>
struct Traits<Property<Array<T>>> {
    static constexpr Type type = Type_Of<T>::value;
    static constexpr sint16 subscript = -1;
    static constexpr uint32 nullOffset = offsetof(Property<Array<T>>, null);
};

template <class PROPERTY>
constexpr Meta_Property property(const char* name, size_t offset) {
    const auto place = static_cast<uint32>(offset);
    return {{CIMPLE_FLAG_PROPERTY, name},
            Traits<PROPERTY>::type,
            Traits<PROPERTY>::subscript,
            place,
            place + Traits<PROPERTY>::nullOffset,
            &Operations_Of<PROPERTY>::value,
            nullptr};
}

constexpr Meta_Property key(Meta_Property property) {
    property.flags |= CIMPLE_FLAG_KEY;
    return property;
}

/// With a default value of the MOF.
template <class T, uint64 VALUE>
constexpr Meta_Property withDefault(Meta_Property property) {
    property.set_default = [](void* field) {
        static_cast<Property<T>*>(field)->set(static_cast<T>(VALUE));
    };
    return property;
}

constexpr Meta_Reference reference(const char* name, const Meta_Class* target, size_t offset) {
    return {{CIMPLE_FLAG_REFERENCE, name}, target, 0, static_cast<uint32>(offset)};
}

constexpr Meta_Method method(const char* name, const Meta_Class* parameters) {
    return {{CIMPLE_FLAG_METHOD, name}, parameters};
}

template <class... P>
constexpr std::array<Meta_Property, sizeof...(P)> list(const P&... properties) {
    return {properties...};
}

template <size_t N, class... P>
constexpr std::array<Meta_Property, N + sizeof...(P)> extend(
    const std::array<Meta_Property, N>& inherited, const P&... added) {
    std::array<Meta_Property, N + sizeof...(P)> all{};
    size_t count = 0;
    for (const Meta_Property& property : inherited) {
        all[count++] = property;
    }
    ((all[count++] = added), ...);
    return all;
}

/// The features of a class: its properties, then the others. All must have static storage.
template <size_t N, class... F>
constexpr std::array<const Meta_Feature*, N + sizeof...(F)> features(
    const std::array<Meta_Property, N>& properties, const F&... others) {
    std::array<const Meta_Feature*, N + sizeof...(F)> all{};
    size_t count = 0;
    for (const Meta_Property& property : properties) {
        all[count++] = &property;
    }
    ((all[count++] = &others), ...);
    return all;
}

template <class CLASS, size_t N>
constexpr Meta_Class metaClass(const char* name, const Meta_Class* superClass,
                               const std::array<const Meta_Feature*, N>& features) {
    size_t keys = 0;
    for (const Meta_Feature* feature : features) {
        keys += feature->flags & CIMPLE_FLAG_KEY ? 1 : 0;
    }
    return {name,
            superClass,
            features.data(),
            N,
            keys,
            sizeof(CLASS),
            &detail::Lifetime<CLASS>::construct,
            &detail::Lifetime<CLASS>::destruct};
}

// The properties of each class over the class C that inherits them.

template <class C>
constexpr auto managedElement = list(CIMPLE_SCHEMA_PROPERTY(C, Caption),
                                     CIMPLE_SCHEMA_PROPERTY(C, Description),
                                     CIMPLE_SCHEMA_PROPERTY(C, ElementName));

/// Name becomes a key further down, at the place where it is introduced.
template <class C>
constexpr auto managedSystemElementWith(const Meta_Property& name) {
    return extend(managedElement<C>, CIMPLE_SCHEMA_PROPERTY(C, InstallDate), name,
                  CIMPLE_SCHEMA_PROPERTY(C, OperationalStatus),
                  CIMPLE_SCHEMA_PROPERTY(C, StatusDescriptions), CIMPLE_SCHEMA_PROPERTY(C, Status),
                  CIMPLE_SCHEMA_PROPERTY(C, HealthState));
}

template <class C>
constexpr auto managedSystemElement = managedSystemElementWith<C>(CIMPLE_SCHEMA_PROPERTY(C, Name));

template <class C>
constexpr auto job =
    extend(managedSystemElement<C>, CIMPLE_SCHEMA_PROPERTY(C, JobStatus),
           CIMPLE_SCHEMA_PROPERTY(C, TimeSubmitted), CIMPLE_SCHEMA_PROPERTY(C, ScheduledStartTime),
           CIMPLE_SCHEMA_PROPERTY(C, StartTime), CIMPLE_SCHEMA_PROPERTY(C, ElapsedTime),
           withDefault<uint32, 1>(CIMPLE_SCHEMA_PROPERTY(C, JobRunTimes)),
           CIMPLE_SCHEMA_PROPERTY(C, RunMonth), CIMPLE_SCHEMA_PROPERTY(C, RunDay),
           CIMPLE_SCHEMA_PROPERTY(C, RunDayOfWeek), CIMPLE_SCHEMA_PROPERTY(C, RunStartInterval),
           CIMPLE_SCHEMA_PROPERTY(C, LocalOrUtcTime), CIMPLE_SCHEMA_PROPERTY(C, UntilTime),
           CIMPLE_SCHEMA_PROPERTY(C, Notify), CIMPLE_SCHEMA_PROPERTY(C, Owner),
           CIMPLE_SCHEMA_PROPERTY(C, Priority), CIMPLE_SCHEMA_PROPERTY(C, PercentComplete),
           CIMPLE_SCHEMA_PROPERTY(C, DeleteOnCompletion), CIMPLE_SCHEMA_PROPERTY(C, ErrorCode),
           CIMPLE_SCHEMA_PROPERTY(C, ErrorDescription), CIMPLE_SCHEMA_PROPERTY(C, RecoveryAction),
           CIMPLE_SCHEMA_PROPERTY(C, OtherRecoveryAction));

/// A finished job is kept for five minutes by default.
template <class C>
constexpr auto concreteJob =
    extend(job<C>, key(CIMPLE_SCHEMA_PROPERTY(C, InstanceID)), CIMPLE_SCHEMA_PROPERTY(C, JobState),
           CIMPLE_SCHEMA_PROPERTY(C, TimeOfLastStateChange),
           withDefault<Datetime, 300'000'000>(CIMPLE_SCHEMA_PROPERTY(C, TimeBeforeRemoval)));

template <class C, size_t N>
constexpr auto enabledLogicalElementOn(const std::array<Meta_Property, N>& inherited) {
    return extend(inherited, withDefault<uint16, 5>(CIMPLE_SCHEMA_PROPERTY(C, EnabledState)),
                  CIMPLE_SCHEMA_PROPERTY(C, OtherEnabledState),
                  withDefault<uint16, 12>(CIMPLE_SCHEMA_PROPERTY(C, RequestedState)),
                  withDefault<uint16, 2>(CIMPLE_SCHEMA_PROPERTY(C, EnabledDefault)),
                  CIMPLE_SCHEMA_PROPERTY(C, TimeOfLastStateChange));
}

template <class C>
constexpr auto enabledLogicalElement = enabledLogicalElementOn<C>(managedSystemElement<C>);

template <class C>
constexpr auto system = extend(
    enabledLogicalElementOn<C>(managedSystemElementWith<C>(key(CIMPLE_SCHEMA_PROPERTY(C, Name)))),
    key(CIMPLE_SCHEMA_PROPERTY(C, CreationClassName)), CIMPLE_SCHEMA_PROPERTY(C, NameFormat),
    CIMPLE_SCHEMA_PROPERTY(C, PrimaryOwnerName), CIMPLE_SCHEMA_PROPERTY(C, PrimaryOwnerContact),
    CIMPLE_SCHEMA_PROPERTY(C, Roles));

template <class C>
constexpr auto computerSystem = extend(system<C>, CIMPLE_SCHEMA_PROPERTY(C, OtherIdentifyingInfo),
                                       CIMPLE_SCHEMA_PROPERTY(C, IdentifyingDescriptions),
                                       CIMPLE_SCHEMA_PROPERTY(C, Dedicated),
                                       CIMPLE_SCHEMA_PROPERTY(C, OtherDedicatedDescriptions),
                                       CIMPLE_SCHEMA_PROPERTY(C, ResetCapability),
                                       CIMPLE_SCHEMA_PROPERTY(C, PowerManagementCapabilities));

}  // namespace schema

CIMPLE_NAMESPACE_END
