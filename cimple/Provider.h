#pragma once

#include <cimple/Instance.h>

CIMPLE_NAMESPACE_BEGIN

enum Get_Meta_Class_Status { GET_META_CLASS_OK = 0 };
enum Create_Provider_Status { CREATE_PROVIDER_OK = 0 };
enum Destroy_Provider_Status { DESTROY_PROVIDER_OK = 0 };
enum Get_Repository_Status { GET_REPOSITORY_OK = 0 };
enum Load_Status { LOAD_OK = 0, LOAD_FAILED = 30 };
enum Unload_Status { UNLOAD_OK = 0, UNLOAD_FAILED = 40 };
enum Timer_Status { TIMER_RESCHEDULE = 0, TIMER_CANCEL = 50 };

enum Get_Instance_Status {
    GET_INSTANCE_OK = 0,
    GET_INSTANCE_NOT_FOUND = 60,
    GET_INSTANCE_UNSUPPORTED = 61,
    GET_INSTANCE_INVALID_PARAMETER = 62,
    GET_INSTANCE_ACCESS_DENIED = 63,
    GET_INSTANCE_FAILED = 64,
};

enum Enum_Instances_Status {
    ENUM_INSTANCES_OK = 0,
    ENUM_INSTANCES_FAILED = 70,
    ENUM_INSTANCES_ACCESS_DENIED = 71,
};

enum Create_Instance_Status {
    CREATE_INSTANCE_OK = 0,
    CREATE_INSTANCE_DUPLICATE = 80,
    CREATE_INSTANCE_UNSUPPORTED = 81,
    CREATE_INSTANCE_INVALID_PARAMETER = 82,
    CREATE_INSTANCE_ACCESS_DENIED = 83,
    CREATE_INSTANCE_FAILED = 84,
};

enum Delete_Instance_Status {
    DELETE_INSTANCE_OK = 0,
    DELETE_INSTANCE_NOT_FOUND = 90,
    DELETE_INSTANCE_UNSUPPORTED = 91,
    DELETE_INSTANCE_ACCESS_DENIED = 92,
    DELETE_INSTANCE_FAILED = 93,
};

enum Modify_Instance_Status {
    MODIFY_INSTANCE_OK = 0,
    MODIFY_INSTANCE_NOT_FOUND = 100,
    MODIFY_INSTANCE_UNSUPPORTED = 101,
    MODIFY_INSTANCE_INVALID_PARAMETER = 102,
    MODIFY_INSTANCE_ACCESS_DENIED = 103,
    MODIFY_INSTANCE_FAILED = 104,
};

enum Enum_Associator_Names_Status {
    ENUM_ASSOCIATOR_NAMES_OK = 0,
    ENUM_ASSOCIATOR_NAMES_FAILED = 110,
    ENUM_ASSOCIATOR_NAMES_UNSUPPORTED = 111,
    ENUM_ASSOCIATOR_NAMES_ACCESS_DENIED = 112,
};

enum Enum_References_Status {
    ENUM_REFERENCES_OK = 0,
    ENUM_REFERENCES_FAILED = 120,
    ENUM_REFERENCES_UNSUPPORTED = 121,
    ENUM_REFERENCES_ACCESS_DENIED = 122,
};

enum Invoke_Method_Status {
    INVOKE_METHOD_OK = 0,
    INVOKE_METHOD_FAILED = 130,
    INVOKE_METHOD_UNSUPPORTED = 131,
    INVOKE_METHOD_ACCESS_DENIED = 132,
};

enum Enable_Indications_Status { ENABLE_INDICATIONS_OK = 0, ENABLE_INDICATIONS_FAILED = 140 };
enum Disable_Indications_Status { DISABLE_INDICATIONS_OK = 0, DISABLE_INDICATIONS_FAILED = 150 };

enum Enum_Associators_Status {
    ENUM_ASSOCIATORS_OK = 0,
    ENUM_ASSOCIATORS_FAILED = 170,
    ENUM_ASSOCIATORS_UNSUPPORTED = 171,
    ENUM_ASSOCIATORS_ACCESS_DENIED = 172,
};

/// The messages of the framework to a provider.
enum Provider_Operation {
    OPERATION_GET_META_CLASS,
    OPERATION_CREATE_PROVIDER,
    OPERATION_DESTROY_PROVIDER,
    OPERATION_LOAD,
    OPERATION_UNLOAD,
    OPERATION_GET_INSTANCE,
    OPERATION_ENUM_INSTANCES,
    OPERATION_CREATE_INSTANCE,
    OPERATION_DELETE_INSTANCE,
    OPERATION_MODIFY_INSTANCE,
    OPERATION_INVOKE_METHOD,
    OPERATION_ENABLE_INDICATIONS,
    OPERATION_DISABLE_INDICATIONS,
    OPERATION_GET_REPOSITORY,
    OPERATION_ENUM_ASSOCIATOR_NAMES,
    OPERATION_ENUM_REFERENCES,
    OPERATION_ENUM_ASSOCIATORS,
};

/// Receive the instances that a provider enumerates, and own them; false means that no more are
/// wanted. The caller of the enumeration makes the last call, with a null instance and the status
/// returned by the provider.
typedef bool (*Enum_Instances_Proc)(Instance*, Enum_Instances_Status, void* client_data);
typedef bool (*Enum_Associator_Names_Proc)(const Instance*, Enum_Associator_Names_Status,
                                           void* client_data);
typedef bool (*Enum_Associators_Proc)(const Instance*, Enum_Associators_Status, void* client_data);
typedef bool (*Enum_References_Proc)(Instance*, Enum_References_Status, void* client_data);
/// Receives indications and owns them; null ends the subscription.
typedef bool (*Indication_Proc)(Instance*, void* client_data);

namespace detail {

/// Receives the instances of an enumeration from a provider. Used by one thread at a time.
template <class CLASS, class STATUS, class PROC>
class Enum_Handler {
  public:
    Enum_Handler(PROC proc, void* client_data) noexcept : proc_(proc), client_data_(client_data) {}

    /// Takes ownership of an instance: the provider must not use it afterwards. False means that no
    /// more are wanted.
    bool handle(CLASS* instance) { return proc_(instance, static_cast<STATUS>(0), client_data_); }

  private:
    PROC proc_;
    void* client_data_;
};

}  // namespace detail

template <class CLASS>
class Enum_Instances_Handler
    : public detail::Enum_Handler<CLASS, Enum_Instances_Status, Enum_Instances_Proc> {
    using detail::Enum_Handler<CLASS, Enum_Instances_Status, Enum_Instances_Proc>::Enum_Handler;
};

template <class CLASS>
class Enum_Associator_Names_Handler
    : public detail::Enum_Handler<CLASS, Enum_Associator_Names_Status, Enum_Associator_Names_Proc> {
    using detail::Enum_Handler<CLASS, Enum_Associator_Names_Status,
                               Enum_Associator_Names_Proc>::Enum_Handler;
};

template <class CLASS>
class Enum_Associators_Handler
    : public detail::Enum_Handler<CLASS, Enum_Associators_Status, Enum_Associators_Proc> {
    using detail::Enum_Handler<CLASS, Enum_Associators_Status, Enum_Associators_Proc>::Enum_Handler;
};

template <class CLASS>
class Enum_References_Handler
    : public detail::Enum_Handler<CLASS, Enum_References_Status, Enum_References_Proc> {
    using detail::Enum_Handler<CLASS, Enum_References_Status, Enum_References_Proc>::Enum_Handler;
};

/// Receives the indications of a provider, which owns it from enable_indications to
/// disable_indications. Used by one thread at a time.
template <class CLASS>
class Indication_Handler {
  public:
    Indication_Handler(Indication_Proc proc, void* client_data) noexcept
        : proc_(proc), client_data_(client_data) {}
    Indication_Handler(const Indication_Handler&) = delete;
    Indication_Handler& operator=(const Indication_Handler&) = delete;
    /// Makes the last call.
    ~Indication_Handler() { proc_(nullptr, client_data_); }

    /// Takes ownership of an indication: the provider must not use it afterwards.
    bool handle(CLASS* indication) { return proc_(indication, client_data_); }

  private:
    Indication_Proc proc_;
    void* client_data_;
};

CIMPLE_NAMESPACE_END
