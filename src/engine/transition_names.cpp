// The names of the paint effects, in the order of their codes.
#include <array>

#include "engine/transition.h"

namespace quillmark::engine {
namespace {

constexpr std::array kSingleNames{
    "WIPE_L_TO_R",
    "WIPE_R_TO_L",
    "WIPE_T_TO_B",
    "WIPE_B_TO_T",
    "WIPE_LT_TO_RB",
    "WIPE_LB_TO_RT",
    "WIPE_RT_TO_LB",
    "WIPE_RB_TO_LT",
    "WIPE_INTERH_L_TO_R_THEN_L_TO_R",
    "WIPE_INTERV_T_TO_B_THEN_T_TO_B",
    "WIPE_INTERH_L_TO_R_THEN_R_TO_L",
    "WIPE_INTERV_T_TO_B_THEN_B_TO_T",
    "WIPE_INTERV_L_TO_R_THEN_L_TO_R",
    "WIPE_INTERV_R_TO_L_THEN_R_TO_L",
    "WIPE_INTERH_T_TO_B_THEN_T_TO_B",
    "WIPE_INTERH_B_TO_T_THEN_B_TO_T",
    "WIPE_INTERV_L_TO_R_THEN_R_TO_L",
    "WIPE_INTERV_R_TO_L_THEN_L_TO_R",
    "WIPE_INTERH_T_TO_B_THEN_B_TO_T",
    "WIPE_INTERH_B_TO_T_THEN_T_TO_B",
    "WIPE_INTERH_L_TO_R_AND_R_TO_L",
    "WIPE_INTERV_T_TO_B_AND_B_TO_T",
    "WIPE_INTERV_L_AND_R_TO_C",
    "WIPE_INTERV_C_TO_L_AND_R",
    "WIPE_INTERH_T_AND_B_TO_C",
    "WIPE_INTERH_C_TO_T_AND_B",
    "WIPE_INTERV_L_AND_R_TO_C_THEN_C_TO_L_AND_R",
    "WIPE_INTERV_C_TO_L_AND_R_THEN_L_AND_R_TO_C",
    "WIPE_INTERH_T_AND_B_TO_C_THEN_C_TO_T_AND_B",
    "WIPE_INTERH_C_TO_T_AND_B_THEN_T_AND_B_TO_C",
    "WIPE2_LT_AND_RB_TO_C",
    "WIPE2_LB_AND_RT_TO_C",
    "WIPE2_C_TO_LT_AND_RB",
    "WIPE2_C_TO_LB_AND_RT",
    "WIPE2_LB_AND_RB_TO_T",
    "WIPE2_LT_AND_RT_TO_B",
    "WIPE2_RT_AND_RB_TO_L",
    "WIPE2_LT_AND_LB_TO_R",
    "WIPE2_L_T_TO_B_AND_R_B_TO_T",
    "WIPE2_T_L_TO_R_AND_B_R_TO_L",
    "WIPE4_CORNERS_OUT",
    "WIPE4_C_TO_L_AND_R_THEN_T_AND_B",
    "WIPE4_T_AND_B_THEN_L_AND_R_TO_C",
};

// Four of the starts, one for each quarter, counted with the first quarter as the highest digit.
void append_quarters(QStringList& names, const std::array<QString, 4>& starts) {
    for (unsigned number = 0; number < 256; ++number) {
        names += QStringLiteral("WIPE4_%1_%2_%3_%4")
                     .arg(starts[number >> 6], starts[number >> 4 & 3], starts[number >> 2 & 3],
                          starts[number & 3]);
    }
}

}  // namespace

QStringList paint_effect_names() {
    QStringList names;
    for (const char* name : kSingleNames) names += QString::fromLatin1(name);
    append_quarters(names,
                    {QStringLiteral("L"), QStringLiteral("R"), QStringLiteral("T"), QStringLiteral("B")});
    append_quarters(names,
                    {QStringLiteral("LT"), QStringLiteral("LB"), QStringLiteral("RT"), QStringLiteral("RB")});
    return names;
}

}  // namespace quillmark::engine
