#include <ferrow/PanelProvider.h>

#include <atomic>

namespace {

std::atomic<PanelProvider*> g_provider{nullptr};

}  // namespace

PeripheralPanel::~PeripheralPanel() = default;
PanelProvider::~PanelProvider() = default;

PanelProvider* PanelProvider::Install(PanelProvider* provider) { return g_provider.exchange(provider); }

PanelProvider* PanelProvider::Installed() { return g_provider.load(); }
