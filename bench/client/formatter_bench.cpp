// The cost of drawing one chat line: the formatter alone, and the formatter
// writing into the real conversation view once the chat is already long
// (the per-line cost must stay flat as the chat grows).
#include "messaging/message_formatter.h"
#include "platform/html_message_view.h"

#include <QApplication>

#include <benchmark/benchmark.h>

using namespace velmora;

namespace {

class DiscardingView : public MessageView {
public:
    void write(const QString& fragment) override { bytes += fragment.size(); }
    void clear() override {}
    void scrollToEnd() override {}
    QString source() const override { return {}; }
    qsizetype bytes = 0;
};

const FormatterOptions kOptions{true, QStringLiteral(VELMORA_ASSETS_DIR)};

// A typical line: a few words, two smilies and an address.
const QString kLine =
    QStringLiteral("hey%%there%%:)%%did%%you%%see%%www.velmora.org/news%%yet?%%it%%is%%great%%:D");

void appendLine(MessageView& view) {
    QString text = kLine;
    AppendMessageHtml(text, QStringLiteral("#000000"), QStringLiteral("alicia"),
                      QStringLiteral("Arial"), QStringLiteral("10"), view, QStringLiteral("B"),
                      kOptions);
}

void BM_FormatLine(benchmark::State& state) {
    DiscardingView view;
    for (auto _ : state) {
        appendLine(view);
    }
    benchmark::DoNotOptimize(view.bytes);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatLine);

// One more line into a view that already holds state.range(0) lines.
void BM_AppendToChat(benchmark::State& state) {
    HtmlMessageView view;
    view.resize(480, 320);
    for (int i = 0; i < state.range(0); ++i) {
        appendLine(view);
    }
    for (auto _ : state) {
        appendLine(view);
    }
    state.SetItemsProcessed(state.iterations());
}
// A fixed number of lines per run, so the chat grows only a little while measured.
BENCHMARK(BM_AppendToChat)
    ->Arg(10)
    ->Arg(1000)
    ->Arg(3000)
    ->Iterations(200)
    ->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
