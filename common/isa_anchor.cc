// Keeps an instruction-set object library valid while it has no vector rows of its own.
namespace {
[[maybe_unused]] const int kIsaAnchor = 0;
}
