# The tests that cannot run where an emulator stands in for the processor; a real
# one runs them all.
set(not_emulated
    # The emulator refuses filters of system calls.
    Leaving.KeepsTheDefaultActionsIfItsThreadCannotBeCreated
    Detach.ClosesOneByOneWithoutCloseRange
    Detach.EndsWith1WhenItCannotMakeAProcess
    Detach.EndsWith1WhenItCannotMakeASession
    UDPSocketPollBatch.CostsOneSystemCallForAll
    UDPSocketPoll.CostsOneSystemCallForEachDatagram
    Closing.LetsTheEngineOpenAgainWhileAThreadIsBlocked
    Waiting.TimesOutWhenTheSignalledChangeWasTakenEarlier
    # It refuses to adopt processes: the status of one that detached is not to be had.
    Detach.EndsTheCallerWith0AndContinuesInANewSession
    Detach.ClosesAllDescriptorsAndOpensTheStandardOnesOnDevNull
    # It cannot choose the interface of multicast, and routes go with the address.
    Multicast.GoodbyeIsSentAfterTheAddressHasChanged
    MonitorPackets.*
    MonitorPacketsEverywhere.*
    MonitorGroup.ReceivesMulticastAndLeavesUnicastToADaemonThatWasStartedBefore
    MonitorSource.ReportsThatItsInterfaceGoesDown
    # Its own threads count towards the limit.
    Failing.EngineClosesWhenTheSSDPThreadCannotStart
    Failing.EngineOpensWhenTheDiagnosticThreadCannotStart)
list(JOIN not_emulated ":" not_emulated)
