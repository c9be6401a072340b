#pragma once

#include <cimple/cimple.h>

#include "CIM_ConcreteJob.h"

CIMPLE_NAMESPACE_BEGIN

/// A job of a managed node. Its only key is InstanceID.
class KRM_TBLConcreteJob : public Instance {
  public:
    // CIM_ManagedElement
    Property<String> Caption;
    Property<String> Description;
    Property<String> ElementName;
    // CIM_ManagedSystemElement
    Property<Datetime> InstallDate;
    Property<String> Name;
    Property<Array_uint16> OperationalStatus;
    Property<Array_String> StatusDescriptions;
    Property<String> Status;
    Property<uint16> HealthState;
    // CIM_Job
    Property<String> JobStatus;
    Property<Datetime> TimeSubmitted;
    Property<Datetime> ScheduledStartTime;
    Property<Datetime> StartTime;
    Property<Datetime> ElapsedTime;
    Property<uint32> JobRunTimes;
    Property<uint8> RunMonth;
    Property<sint8> RunDay;
    Property<sint8> RunDayOfWeek;
    Property<Datetime> RunStartInterval;
    Property<uint16> LocalOrUtcTime;
    Property<Datetime> UntilTime;
    Property<String> Notify;
    Property<String> Owner;
    Property<uint32> Priority;
    Property<uint16> PercentComplete;
    Property<boolean> DeleteOnCompletion;
    Property<uint16> ErrorCode;
    Property<String> ErrorDescription;
    Property<uint16> RecoveryAction;
    Property<String> OtherRecoveryAction;
    // CIM_ConcreteJob
    Property<String> InstanceID;
    Property<uint16> JobState;
    Property<Datetime> TimeOfLastStateChange;
    Property<Datetime> TimeBeforeRemoval;

    CIMPLE_CLASS(KRM_TBLConcreteJob)
};

typedef CIM_Job_KillJob_method KRM_TBLConcreteJob_KillJob_method;

typedef CIM_ConcreteJob_RequestStateChange_method KRM_TBLConcreteJob_RequestStateChange_method;

CIMPLE_NAMESPACE_END
