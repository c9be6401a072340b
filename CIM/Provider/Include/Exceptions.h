#pragma once

#include <stdio.h>

#include <cimple/String.h>

#include "util/Export.h"

/// The failures of the provider layer. They derive from no standard exception; catch
/// provider::BaseException for all of them, or HandlerExceptionInfo or CimErrorExceptionInfo for
/// the number alone.
///
/// Thread-safety: plain values; one object may be used by one thread at a time.
namespace provider {

/// DMTF status codes of CIM operations. An exception may also carry any other number.
enum CimError : int {
    CIM_ERR_OK = 0,
    CIM_ERR_FAILED = 1,
    CIM_ERR_ACCESS_DENIED = 2,
    CIM_ERR_INVALID_PARAMETER = 4,
    CIM_ERR_NOT_FOUND = 6,
    CIM_ERR_NOT_SUPPORTED = 7,
};

/// A failure of the provider layer: where it was raised, and a message. Copies are independent.
class VARNOCK_EXPORT BaseException {
  public:
    /// `file` is not copied and must outlive the exception (a literal); null shows as "".
    BaseException(const char* file, int line, const cimple::String& message);
    virtual ~BaseException();

    /// "<className>: <fullText>"
    virtual cimple::String toString() const;
    /// The name of the class, without its namespace.
    virtual cimple::String className() const;
    /// `file="<file>" line=<line> message="<message>"`, then what the derived class adds.
    virtual cimple::String fullText() const;

    /// Prints toString() at trace level 1. Builds no text when that level is off; without memory
    /// for the text prints nothing.
    void trace() const;

  private:
    const char* file_;
    int line_;
    cimple::String message_;
};

/// The part of a HandlerException that can be caught without knowing its class.
class VARNOCK_EXPORT HandlerExceptionInfo {
  public:
    /// The provider's own number.
    virtual int getId() const = 0;
    virtual ~HandlerExceptionInfo();
};

/// The part of a CimErrorException that can be caught without knowing its class.
class VARNOCK_EXPORT CimErrorExceptionInfo {
  public:
    /// The status code with which the CIM operation ends.
    virtual CimError getCimError() const = 0;
    virtual ~CimErrorExceptionInfo();
};

/// A failure with a number of the provider's own.
class VARNOCK_EXPORT HandlerException : public BaseException, public HandlerExceptionInfo {
  public:
    /// `file` as in BaseException.
    HandlerException(const char* file, int line, const cimple::String& message, int id);
    ~HandlerException() override;

    cimple::String className() const override;
    /// The base text and ` id=<number>`.
    cimple::String fullText() const override;
    int getId() const override;

  private:
    int id_;
};

/// A failure with the status code with which the CIM operation ends.
class VARNOCK_EXPORT CimErrorException : public BaseException, public CimErrorExceptionInfo {
  public:
    /// `file` as in BaseException.
    CimErrorException(const char* file, int line, const cimple::String& message, CimError cimError);
    ~CimErrorException() override;

    cimple::String className() const override;
    /// The base text and ` cimErr=<number>`.
    cimple::String fullText() const override;
    CimError getCimError() const override;

  private:
    CimError cimError_;
};

/// The only way to raise an exception: traces it, then throws it as type T.
template <class T>
[[noreturn]] void traceAndThrow(T exception) {
    exception.trace();
    throw T(exception);
}

/// Formats one number; `format` is a literal with one conversion that fits T.
template <typename T>
cimple::String toStringImpl(const char* format, T value) {
    char text[32];
    snprintf(text, sizeof text, format, value);
    return cimple::String(text);
}

/// Decimal digits, with a sign when negative.
VARNOCK_EXPORT cimple::String toDecString(int value);
/// Decimal digits.
VARNOCK_EXPORT cimple::String toDecString(unsigned int value);
/// Lower case, no prefix, no leading zeros; a negative value as its 32-bit two's complement.
VARNOCK_EXPORT cimple::String toHexString(int value);
/// Lower case, no prefix, no leading zeros.
VARNOCK_EXPORT cimple::String toHexString(unsigned int value);

}  // namespace provider
