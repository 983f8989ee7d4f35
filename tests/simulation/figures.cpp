#include "simulation/figures.h"

namespace simulation {
namespace {

template <typename Get>
std::string Row(const char *name, const Figures &figures, Get get)
{
    std::string text = "\"" + std::string(name) + "\": [";
    const char *separator = "";
    for (const SecondFigures &second : figures.seconds) {
        text += separator + std::to_string(get(second));
        separator = ", ";
    }
    return text + "],\n";
}

} // namespace

std::string ComposeFigures(const Figures &figures)
{
    std::string text = "{\n";
    for (std::size_t kind = 0; kind < kDatagramKinds; ++kind) {
        text += Row(NameOf(static_cast<DatagramKind>(kind)), figures,
                    [kind](const SecondFigures &second) { return second.datagrams[kind]; });
    }
    text += Row("bytes", figures, [](const SecondFigures &second) { return second.bytes; });
    text += Row("busy us", figures, [](const SecondFigures &second) { return second.busy; });
    text +=
        Row("processor us", figures, [](const SecondFigures &second) { return second.processor; });
    text += Row("lost", figures, [](const SecondFigures &second) { return second.lost; });
    text += Row("dropped", figures, [](const SecondFigures &second) { return second.dropped; });
    text += Row("wanted", figures, [](const SecondFigures &second) { return second.wanted; });
    text += Row("right", figures, [](const SecondFigures &second) { return second.right; });
    return text + "\"asked again\": " + std::to_string(figures.askedAgain) +
           ",\n\"relisted\": " + std::to_string(figures.relisted) +
           ",\n\"lapses\": " + std::to_string(figures.lapses) +
           ",\n\"longest lapse us\": " + std::to_string(figures.longestLapse) + "\n}\n";
}

} // namespace simulation
