#pragma once

#include <optional>
#include <string>
#include <vector>

#include "draw/Captions.h"
#include "draw/Clip.h"
#include "draw/ColourBands.h"
#include "draw/Extremes.h"
#include "draw/FieldValues.h"
#include "draw/Groups.h"
#include "draw/Picture.h"
#include "draw/Progress.h"
#include "draw/Scene.h"
#include "draw/View.h"

namespace orqmodel {

/// What has a colour of its own.
enum class ColourBy { Block, Set, Section, Material };

struct MeshPictureOptions {
    std::optional<std::string> view;  ///< as View::FromText takes it
    ColourBy colourBy = ColourBy::Block;
    std::vector<std::string> sets;    ///< that are coloured; all for none
    std::vector<std::string> blocks;  ///< that are drawn; all for none
    std::vector<Clip> clips;          ///< that keep what is drawn
    /// What is marked in red over a pale model, in place of colours by blocks and the like.
    struct Marks {
        std::vector<int> elements;  ///< ordinals, ascending
        std::vector<int> nodes;     ///< the same, drawn as dots
    };
    std::optional<Marks> marks;
    /// Which edges of elements are drawn; without a value, all when they are not too dense.
    std::optional<EdgeKind> edges;
    /// Colours by values instead of blocks; with sets, only what is in them.
    std::optional<FieldValues> field;
    /// The range of the colours in all pictures of a series; without it, that of the values in
    /// this one.
    std::optional<ValueRange> range;
    /// Moves the nodes and shows in grey where the borders of the body were.
    struct Moves {
        std::vector<Point> displacements;  ///< by node
        double reach;                      ///< room for moves of other times
        std::string text;
    };
    std::optional<Moves> moves;
    /// Progress of making the picture and of writing it.
    Progress progress = IgnoreProgress;
    PictureSize size{1200, 900};
};

/// A mesh as a picture: its skin, shaded and in the colours of blocks, of sets or of a field's
/// values, under a title, beside a legend and the directions of the axes. The same model and
/// options give the same bytes.
class MeshPicture : public Picture {
  public:
    /// `name` is the model's where it has no title. Throws as SkinOf, View::FromText and Groups do.
    MeshPicture(const ORQExcModel& model, const std::string& name,
                const MeshPictureOptions& options);

    const Scene& Contents() const { return m_scene; }

  private:
    void PlanDetails(const ORQExcModel& model, std::size_t nBlocks,
                     const MeshPictureOptions& options);
    void PlanLayout();
    void PlanEdges(std::optional<EdgeKind> wanted, const Groups& groups);
    void ColourByGroup(const Groups& groups);
    void ColourByValue(const FieldValues& field, const Groups& groups, bool isOfSets);
    /// A colour in the light on a part of a skin, of which `strength`, from 0 to 1, is taken.
    static Colour Shaded(Colour colour, const Skin& skin, std::size_t part, double strength);
    void PlanDots();
    void PlanExtremes(const ORQExcModel& model, const FieldValues& field);
    void Paint(Canvas& canvas) const override;
    void PaintBelow(Image& image) const override { PaintPixels(m_scene, image, m_painting); }
    void PaintBelow(Canvas& canvas) const override { PaintShapes(m_scene, canvas, m_painting); }
    void PaintAxes(Canvas& canvas) const;

    double m_textSize = 0;
    double m_columnWidth =
        0;            // of legend and axes, at the right; 0 where there is no room for texts
    Frame m_frame{};  // of the mesh
    std::optional<View> m_view;
    std::string m_title;
    std::string m_details;
    std::vector<LegendEntry> m_legend;
    std::optional<ColourBands> m_bands;
    std::string m_fieldName;
    std::vector<Extreme> m_extremes;
    Scene m_scene;
    Progress m_painting;
};

}  // namespace orqmodel
