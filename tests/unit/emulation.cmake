# The tests that cannot run in an emulator (qemu-user). A real processor runs all tests.
set(not_emulated
    # The emulator refuses filters of system calls.
    Leaving.KeepsTheDefaultActionsIfItsThreadCannotBeCreated
    Detach.ClosesOneByOneWithoutCloseRange
    Detach.EndsTheCallerWith1WhenItCannotMakeAProcess
    Detach.EndsTheChildWith1WhenItCannotMakeASession
    UDPSocketPollBatch.CostsOneSystemCallForAll
    UDPSocketPoll.CostsOneSystemCallForEachDatagram
    Closing.LetsTheEngineOpenAgainWhileAThreadIsBlocked
    Waiting.TimesOutWhenTheSignalledChangeWasTakenEarlier
    # The emulator cannot adopt processes, so the status of a detached process is not available.
    Detach.EndsTheCallerWith0AndContinuesInANewSession
    Detach.ClosesAllDescriptorsAndOpensTheStandardOnesOnDevNull
    # The emulator cannot choose the interface of multicast. The routes that replace this choice
    # are removed with the address.
    Multicast.GoodbyeIsSentAfterTheAddressHasChanged
    MonitorPackets.*
    MonitorPacketsWithoutNet0.*
    MonitorGroup.ReceivesMulticastAndLeavesUnicastToADaemonThatWasStartedBefore
    MonitorSource.ReportsThatItsInterfaceGoesDown
    # The emulator's own threads count towards the limit of threads.
    Failing.EngineClosesWhenTheSSDPThreadCannotStart
    Failing.EngineOpensWhenTheDiagnosticThreadCannotStart)
list(JOIN not_emulated ":" not_emulated)
