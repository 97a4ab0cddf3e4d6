// Entity types whose headers have no source file of their own.

#include "Platform/KarvelTcam/IntfProfile.h"
#include "Platform/KarvelTcam/RequestConfig.h"

ZOL_DEFINE_ENTITY( KarvelTcam::KarvelTcamIntfProfileMgr );
ZOL_DEFINE_ENTITY( KarvelTcam::EntryRequest );
ZOL_DEFINE_ENTITY( KarvelTcam::RequestSubConfig );
ZOL_DEFINE_ENTITY( KarvelTcam::PipeInfoPerFap );
ZOL_DEFINE_ENTITY( KarvelTcam::FapSet );
ZOL_DEFINE_ENTITY( KarvelTcam::ClassInfo );
ZOL_DEFINE_ENTITY( KarvelTcam::RequestConfig );
ZOL_DEFINE_ENTITY( KarvelTcam::RequestStatus );
