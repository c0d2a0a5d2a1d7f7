// DirectShow's VFW_S_* / VFW_E_* codes (values as in vfwmsgs.h) with the texts Microsoft
// documents for them. Numbers are literal so this builds without Windows headers.

#include "tunekit/ErrorHandler.h"

#include <cstddef>
#include <iterator>

namespace tunekit {
namespace {

// Ascending by code as an unsigned value: success codes (0x0004xxxx) first, then errors.
constexpr DirectShowErrorText kRows[] = {
    {0x00040103u, "Reached the end of the list; no more items in the list."}, // VFW_S_NO_MORE_ITEMS
    {0x0004022Du, "An attempt to add a filter with a duplicate name succeeded with a modified name."}, // VFW_S_DUPLICATE_NAME
    {0x00040237u, "The state transition is not complete."}, // VFW_S_STATE_INTERMEDIATE
    {0x00040242u, "Some of the streams are in an unsupported format."}, // VFW_S_PARTIAL_RENDER
    {0x00040245u, "The file contained some property settings that were not used."}, // VFW_S_SOME_DATA_IGNORED
    {0x00040246u, "Some connections failed and were deferred."}, // VFW_S_CONNECTIONS_DEFERRED
    {0x00040250u, "The resource specified is no longer needed."}, // VFW_S_RESOURCE_NOT_NEEDED
    {0x00040254u, "A GraphEdit (.grf) file was loaded successfully, but at least two pins were connected using a different media type than the media type stored in the GraphEdit file."}, // VFW_S_MEDIA_TYPE_IGNORED
    {0x00040257u, "Cannot play back the video stream: could not find a suitable renderer."}, // VFW_S_VIDEO_NOT_RENDERED
    {0x00040258u, "Cannot play back the audio stream: could not find a suitable renderer."}, // VFW_S_AUDIO_NOT_RENDERED
    {0x0004025Au, "Cannot play back the video stream: format 'RPZA' is not supported."}, // VFW_S_RPZA
    {0x00040260u, "The value returned had to be estimated. Its accuracy can't be guaranteed."}, // VFW_S_ESTIMATED
    {0x00040263u, "This success code is reserved for internal purposes within DirectShow."}, // VFW_S_RESERVED
    {0x00040267u, "The stream was turned off."}, // VFW_S_STREAM_OFF
    {0x00040268u, "The filter is active, but cannot deliver data. See IMediaFilter::GetState."}, // VFW_S_CANT_CUE
    {0x00040270u, "The sample had a start time but not a stop time. In this case, the stop time that is returned is set to the start time plus one."}, // VFW_S_NO_STOP_TIME
    {0x0004027Eu, "Preview was rendered through the Smart Tee filter, because the capture filter does not have a preview pin."}, // VFW_S_NOPREVIEWPIN
    {0x00040280u, "The current title is not a sequential set of chapters (PGC), so the timing information might not be continuous."}, // VFW_S_DVD_NON_ONE_SEQUENTIAL
    {0x0004028Cu, "The audio stream does not contain enough information to determine the contents of each channel."}, // VFW_S_DVD_CHANNEL_CONTENTS_NOT_AVAILABLE
    {0x0004028Du, "The seek operation on the DVD was not frame accurate."}, // VFW_S_DVD_NOT_ACCURATE
    {0x80040200u, "The specified media type is invalid."}, // VFW_E_INVALIDMEDIATYPE
    {0x80040201u, "The specified media subtype is invalid."}, // VFW_E_INVALIDSUBTYPE
    {0x80040202u, "This object can only be created as an aggregated object."}, // VFW_E_NEED_OWNER
    {0x80040203u, "The state of the enumerated object has changed and is now inconsistent with the state of the enumerator. Discard any data obtained from previous calls to the enumerator and then update the enumerator by calling the enumerator's Reset method."}, // VFW_E_ENUM_OUT_OF_SYNC
    {0x80040204u, "At least one of the pins involved in the operation is already connected."}, // VFW_E_ALREADY_CONNECTED
    {0x80040205u, "This operation cannot be performed because the filter is active."}, // VFW_E_FILTER_ACTIVE
    {0x80040206u, "One of the specified pins supports no media types."}, // VFW_E_NO_TYPES
    {0x80040207u, "There is no common media type between these pins."}, // VFW_E_NO_ACCEPTABLE_TYPES
    {0x80040208u, "Two pins of the same direction cannot be connected."}, // VFW_E_INVALID_DIRECTION
    {0x80040209u, "The operation cannot be performed because the pins are not connected."}, // VFW_E_NOT_CONNECTED
    {0x8004020Au, "No sample buffer allocator is available."}, // VFW_E_NO_ALLOCATOR
    {0x8004020Bu, "A run-time error occurred."}, // VFW_E_RUNTIME_ERROR
    {0x8004020Cu, "No buffer space has been set."}, // VFW_E_BUFFER_NOTSET
    {0x8004020Du, "The buffer is not big enough."}, // VFW_E_BUFFER_OVERFLOW
    {0x8004020Eu, "An invalid alignment was specified."}, // VFW_E_BADALIGN
    {0x8004020Fu, "Cannot change allocated memory while the filter is active."}, // VFW_E_ALREADY_COMMITTED
    {0x80040210u, "One or more buffers are still active."}, // VFW_E_BUFFERS_OUTSTANDING
    {0x80040211u, "Cannot allocate a sample when the allocator is not active."}, // VFW_E_NOT_COMMITTED
    {0x80040212u, "Cannot allocate memory because no size has been set."}, // VFW_E_SIZENOTSET
    {0x80040213u, "Cannot lock for synchronization because no clock has been defined."}, // VFW_E_NO_CLOCK
    {0x80040214u, "Quality messages could not be sent because no quality sink has been defined."}, // VFW_E_NO_SINK
    {0x80040215u, "A required interface has not been implemented."}, // VFW_E_NO_INTERFACE
    {0x80040216u, "An object or name was not found."}, // VFW_E_NOT_FOUND
    {0x80040217u, "No combination of intermediate filters could be found to make the connection."}, // VFW_E_CANNOT_CONNECT
    {0x80040218u, "No combination of filters could be found to render the stream."}, // VFW_E_CANNOT_RENDER
    {0x80040219u, "Could not change formats dynamically."}, // VFW_E_CHANGING_FORMAT
    {0x8004021Au, "No color key has been set."}, // VFW_E_NO_COLOR_KEY_SET
    {0x8004021Bu, "Current pin connection is not using the IOverlay transport."}, // VFW_E_NOT_OVERLAY_CONNECTION
    {0x8004021Cu, "Current pin connection is not using the IMemInputPin transport."}, // VFW_E_NOT_SAMPLE_CONNECTION
    {0x8004021Du, "Setting a color key would conflict with the palette already set."}, // VFW_E_PALETTE_SET
    {0x8004021Eu, "Setting a palette would conflict with the color key already set."}, // VFW_E_COLOR_KEY_SET
    {0x8004021Fu, "No matching color key is available."}, // VFW_E_NO_COLOR_KEY_FOUND
    {0x80040220u, "No palette is available."}, // VFW_E_NO_PALETTE_AVAILABLE
    {0x80040221u, "Display does not use a palette."}, // VFW_E_NO_DISPLAY_PALETTE
    {0x80040222u, "Too many colors for the current display settings."}, // VFW_E_TOO_MANY_COLORS
    {0x80040223u, "The state changed while waiting to process the sample."}, // VFW_E_STATE_CHANGED
    {0x80040224u, "The operation could not be performed because the filter is not stopped."}, // VFW_E_NOT_STOPPED
    {0x80040225u, "The operation could not be performed because the filter is not paused."}, // VFW_E_NOT_PAUSED
    {0x80040226u, "The operation could not be performed because the filter is not running."}, // VFW_E_NOT_RUNNING
    {0x80040227u, "The operation could not be performed because the filter is in the wrong state."}, // VFW_E_WRONG_STATE
    {0x80040228u, "The sample start time is after the sample end time."}, // VFW_E_START_TIME_AFTER_END
    {0x80040229u, "The supplied rectangle is invalid."}, // VFW_E_INVALID_RECT
    {0x8004022Au, "This pin cannot use the supplied media type."}, // VFW_E_TYPE_NOT_ACCEPTED
    {0x8004022Bu, "This sample cannot be rendered."}, // VFW_E_SAMPLE_REJECTED
    {0x8004022Cu, "This sample cannot be rendered because the end of the stream has been reached."}, // VFW_E_SAMPLE_REJECTED_EOS
    {0x8004022Du, "An attempt to add a filter with a duplicate name failed."}, // VFW_E_DUPLICATE_NAME
    {0x8004022Eu, "A time-out has expired."}, // VFW_E_TIMEOUT
    {0x8004022Fu, "The file format is invalid."}, // VFW_E_INVALID_FILE_FORMAT
    {0x80040230u, "The list has already been exhausted."}, // VFW_E_ENUM_OUT_OF_RANGE
    {0x80040231u, "The filter graph is circular."}, // VFW_E_CIRCULAR_GRAPH
    {0x80040232u, "Updates are not allowed in this state."}, // VFW_E_NOT_ALLOWED_TO_SAVE
    {0x80040233u, "An attempt was made to queue a command for a time in the past."}, // VFW_E_TIME_ALREADY_PASSED
    {0x80040234u, "The queued command was already canceled."}, // VFW_E_ALREADY_CANCELLED
    {0x80040235u, "Cannot render the file because it is corrupt."}, // VFW_E_CORRUPT_GRAPH_FILE
    {0x80040236u, "An IOverlay advise link already exists."}, // VFW_E_ADVISE_ALREADY_SET
    {0x80040238u, "No full-screen modes are available."}, // VFW_E_NO_MODEX_AVAILABLE
    {0x80040239u, "This advise cannot be canceled because it was not successfully set."}, // VFW_E_NO_ADVISE_SET
    {0x8004023Au, "Full-screen mode is not available."}, // VFW_E_NO_FULLSCREEN
    {0x8004023Bu, "Cannot call IVideoWindow methods while in full-screen mode."}, // VFW_E_IN_FULLSCREEN_MODE
    {0x80040240u, "The media type of this file is not recognized."}, // VFW_E_UNKNOWN_FILE_TYPE
    {0x80040241u, "The source filter for this file could not be loaded."}, // VFW_E_CANNOT_LOAD_SOURCE_FILTER
    {0x80040243u, "A file appeared to be incomplete."}, // VFW_E_FILE_TOO_SHORT
    {0x80040244u, "The file's version number is invalid."}, // VFW_E_INVALID_FILE_VERSION
    {0x80040247u, "This file is corrupt: it contains an invalid class identifier."}, // VFW_E_INVALID_CLSID
    {0x80040248u, "This file is corrupt: it contains an invalid media type."}, // VFW_E_INVALID_MEDIA_TYPE
    {0x80040249u, "No time stamp has been set for this sample."}, // VFW_E_SAMPLE_TIME_NOT_SET
    {0x80040251u, "No media time was set for this sample."}, // VFW_E_MEDIA_TIME_NOT_SET
    {0x80040252u, "No media time format was selected."}, // VFW_E_NO_TIME_FORMAT_SET
    {0x80040253u, "Cannot change balance because audio device is monoaural only."}, // VFW_E_MONO_AUDIO_HW
    {0x80040255u, "Cannot play back the video stream: could not find a suitable decompressor."}, // VFW_E_NO_DECOMPRESSOR
    {0x80040256u, "Cannot play back the audio stream: no audio hardware is available, or the hardware is not supported."}, // VFW_E_NO_AUDIO_HARDWARE
    {0x80040259u, "Cannot play back the video stream: format 'RPZA' is not supported."}, // VFW_E_RPZA
    {0x8004025Bu, "DirectShow cannot play MPEG movies on this processor."}, // VFW_E_PROCESSOR_NOT_SUITABLE
    {0x8004025Cu, "Cannot play back the audio stream: the audio format is not supported."}, // VFW_E_UNSUPPORTED_AUDIO
    {0x8004025Du, "Cannot play back the video stream: the video format is not supported."}, // VFW_E_UNSUPPORTED_VIDEO
    {0x8004025Eu, "DirectShow cannot play this video stream because it falls outside the constrained standard."}, // VFW_E_MPEG_NOT_CONSTRAINED
    {0x8004025Fu, "Cannot perform the requested function on an object that is not in the filter graph."}, // VFW_E_NOT_IN_GRAPH
    {0x80040261u, "Cannot access the time format on an object."}, // VFW_E_NO_TIME_FORMAT
    {0x80040262u, "Could not make the connection because the stream is read-only and the filter alters the data."}, // VFW_E_READ_ONLY
    {0x80040264u, "The buffer is not full enough."}, // VFW_E_BUFFER_UNDERFLOW
    {0x80040265u, "Cannot play back the file: the format is not supported."}, // VFW_E_UNSUPPORTED_STREAM
    {0x80040266u, "Pins cannot connect because they don't support the same transport."}, // VFW_E_NO_TRANSPORT
    {0x80040269u, "The Video CD can't be read correctly by the device or the data is corrupt."}, // VFW_E_BAD_VIDEOCD
    {0x80040271u, "There is not enough video memory at this display resolution and number of colors. Reducing resolution might help."}, // VFW_E_OUT_OF_VIDEO_MEMORY
    {0x80040272u, "The video port connection negotiation process has failed."}, // VFW_E_VP_NEGOTIATION_FAILED
    {0x80040273u, "Either DirectDraw has not been installed or the video card capabilities are not suitable. Make sure the display is not in 16-color mode."}, // VFW_E_DDRAW_CAPS_NOT_SUITABLE
    {0x80040274u, "No video port hardware is available, or the hardware is not responding."}, // VFW_E_NO_VP_HARDWARE
    {0x80040275u, "No capture hardware is available, or the hardware is not responding."}, // VFW_E_NO_CAPTURE_HARDWARE
    {0x80040276u, "This user operation is prohibited by DVD content at this time."}, // VFW_E_DVD_OPERATION_INHIBITED
    {0x80040277u, "This operation is not permitted in the current domain."}, // VFW_E_DVD_INVALIDDOMAIN
    {0x80040278u, "Requested button is not available."}, // VFW_E_DVD_NO_BUTTON
    {0x80040279u, "DVD-Video playback graph has not been built yet."}, // VFW_E_DVD_GRAPHNOTREADY
    {0x8004027Au, "DVD-Video playback graph building failed."}, // VFW_E_DVD_RENDERFAIL
    {0x8004027Bu, "DVD-Video playback graph could not be built due to insufficient decoders."}, // VFW_E_DVD_DECNOTENOUGH
    {0x8004027Cu, "The DirectDraw version number is not suitable. Make sure to install DirectX 5 or higher."}, // VFW_E_DDRAW_VERSION_NOT_SUITABLE
    {0x8004027Du, "Copy protection could not be enabled."}, // VFW_E_COPYPROT_FAILED
    {0x8004027Fu, "Seek command timed out."}, // VFW_E_TIME_EXPIRED
    {0x80040281u, "The operation cannot be performed at the current playback speed."}, // VFW_E_DVD_WRONG_SPEED
    {0x80040282u, "The specified DVD menu does not exist."}, // VFW_E_DVD_MENU_DOES_NOT_EXIST
    {0x80040283u, "The specified command was canceled or no longer exists."}, // VFW_E_DVD_CMD_CANCELLED
    {0x80040284u, "The DVD state information contains the wrong version number."}, // VFW_E_DVD_STATE_WRONG_VERSION
    {0x80040285u, "The DVD state information is corrupted."}, // VFW_E_DVD_STATE_CORRUPT
    {0x80040286u, "The DVD state information is from another disc and not the current disc."}, // VFW_E_DVD_STATE_WRONG_DISC
    {0x80040287u, "The region is not compatible with the drive."}, // VFW_E_DVD_INCOMPATIBLE_REGION
    {0x80040288u, "The requested attributes do not exist."}, // VFW_E_DVD_NO_ATTRIBUTES
    {0x80040289u, "The operation cannot be performed because no GoUp program chain (PGC) is available."}, // VFW_E_DVD_NO_GOUP_PGC
    {0x8004028Au, "The operation is prohibited because the parental level is too low."}, // VFW_E_DVD_LOW_PARENTAL_LEVEL
    {0x8004028Bu, "The DVD Navigator is not in karaoke mode."}, // VFW_E_DVD_NOT_IN_KARAOKE_MODE
    {0x8004028Eu, "Frame stepping is not supported."}, // VFW_E_FRAME_STEP_UNSUPPORTED
    {0x8004028Fu, "The requested stream is disabled."}, // VFW_E_DVD_STREAM_DISABLED
    {0x80040290u, "The operation requires a title number, but there is no current title. This error can occur when the DVD Navigator is not in the Title domain or the Video Title Set Menu (VTSM) domain."}, // VFW_E_DVD_TITLE_UNKNOWN
    {0x80040291u, "The specified path is not a valid DVD disc."}, // VFW_E_DVD_INVALID_DISC
    {0x80040292u, "The Resume operation could not be completed, because there is no resume information."}, // VFW_E_DVD_NO_RESUME_INFORMATION
    {0x80040293u, "Pin is already blocked on the calling thread."}, // VFW_E_PIN_ALREADY_BLOCKED_ON_THIS_THREAD
    {0x80040294u, "Pin is already blocked on another thread."}, // VFW_E_PIN_ALREADY_BLOCKED
    {0x80040295u, "Use of this filter is restricted by a software key. The application must unlock the filter."}, // VFW_E_CERTIFICATION_FAILURE
    {0x80040296u, "The Video Mixing Renderer (VMR) is not in mixing mode. Call IVMRFilterConfig::SetNumberOfStreams (VMR-7) or IVMRFilterConfig9::SetNumberOfStreams (VMR-9)."}, // VFW_E_VMR_NOT_IN_MIXER_MODE
    {0x80040297u, "The application has not yet provided the VMR filter with a valid allocator-presenter object."}, // VFW_E_VMR_NO_AP_SUPPLIED
    {0x80040298u, "The VMR could not find any de-interlacing hardware on the current display device."}, // VFW_E_VMR_NO_DEINTERLACE_HW
    {0x80040299u, "The VMR could not find any hardware that supports ProcAmp controls on the current display device."}, // VFW_E_VMR_NO_PROCAMP_HW
    {0x8004029Au, "The hardware decoder uses video port extensions (VPE), which are not compatible with the VMR-9 filter."}, // VFW_E_DVD_VMR9_INCOMPATIBLEDEC
    {0x8004029Bu, "The current display device does not support Content Output Protection Protocol (COPP); or the VMR has not connected to a display device yet."}, // VFW_E_NO_COPP_HW
    {0x8004029Cu, "The DVD navigator cannot complete the requested operation, because another operation is still pending."}, // VFW_E_DVD_NONBLOCKING
    {0x8004029Du, "The DVD Navigator cannot build the DVD playback graph because the graph contains more than one video renderer."}, // VFW_E_DVD_TOO_MANY_RENDERERS_IN_FILTER_GRAPH
    {0x8004029Eu, "The DVD Navigator cannot add the Enhanced Video Renderer (EVR) filter to the filter graph because the graph already contains a video renderer."}, // VFW_E_DVD_NON_EVR_RENDERER_IN_FILTER_GRAPH
    {0x8004029Fu, "DVD Video output is not at a proper resolution."}, // VFW_E_DVD_RESOLUTION_ERROR
    {0x80040310u, "The specified codec parameter has a linear range, not an enumerated list."}, // VFW_E_CODECAPI_LINEAR_RANGE
    {0x80040311u, "The specified codec parameter has an enumerated range of values, not a linear range."}, // VFW_E_CODECAPI_ENUMERATED
    {0x80040313u, "The specified codec parameter does not have a default value."}, // VFW_E_CODECAPI_NO_DEFAULT
    {0x80040314u, "The specified codec parameter does not have a current value."}, // VFW_E_CODECAPI_NO_CURRENT_VALUE
    {0x80040315u, "The operation failed since the chapter does not exist."}, // VFW_E_DVD_CHAPTER_DOES_NOT_EXIST
    {0x800403F2u, "A registry entry is corrupt."}, // VFW_E_BAD_KEY
};

constexpr bool strictlyAscending() {
    for (std::size_t i = 1; i < std::size(kRows); ++i) {
        if (kRows[i - 1].code >= kRows[i].code) return false;
    }
    return true;
}
// A row out of place makes the binary search miss codes without any error.
static_assert(strictlyAscending(), "DirectShow rows must be in strictly ascending code order");

} // namespace

std::span<const DirectShowErrorText> ErrorHandler::directShowTexts() { return kRows; }

} // namespace tunekit
