#pragma once

#include "common/Types.h"

/// The operations of a component that belong to the host: `Base` is a
/// PYXComponentEx, and each returns its constant.
template <class Base> class PYXReservedOperations : public Base
{
public:
    using Base::Base;

    PYX_RESULT HostOperation20() override
    {
        return PYX_OK;
    }

    PYX_RESULT HostOperation21() override
    {
        return PYX_OK;
    }

    PYX_RESULT HostOperation22() override
    {
        return PYX_NOT_IMPLEMENTED; // data enters through the inputs
    }

    PYX_RESULT HostOperation23() override
    {
        return PYX_NOT_IMPLEMENTED;
    }

    PYX_RESULT HostOperation25() override
    {
        return PYX_OK;
    }

    PYX_RESULT HostOperation26() override
    {
        return PYX_NOT_IMPLEMENTED;
    }

    PYX_RESULT HostOperation27() override
    {
        return PYX_OK;
    }

    pyx_int32 HostOperation29() override
    {
        return 0;
    }

    PYX_RESULT HostOperation31() override
    {
        return PYX_NOT_IMPLEMENTED;
    }
};
